// SPDX-License-Identifier: LGPL-2.1-or-later
#include "pugipeer.h"

#include <pugixml.hpp>

namespace
{

class Utf8Writer : public pugi::xml_writer
{
public:
    explicit Utf8Writer(int room) { bytes.reserve(room); }

    void write(const void *data, size_t size) override
    {
        bytes.append(static_cast<const char *>(data), int(size));
    }

    QByteArray bytes;
};

/** Parses in the bytes themselves, which saves a copy of them. */
void parse(pugi::xml_document &document, QByteArray &utf8)
{
    document.load_buffer_inplace(utf8.data(), size_t(utf8.size()), pugi::parse_default,
                                 pugi::encoding_utf8);
}

QString valueIn(const pugi::xml_document &document)
{
    return QString::fromUtf8(document.child("a").child("b").text().get());
}

} // namespace

QString dataByPugixml(const QString &body)
{
    QByteArray utf8 = body.toUtf8();
    pugi::xml_document document;
    parse(document, utf8);
    Utf8Writer writer(utf8.size());
    const pugi::xml_node get = document.child("reply").child("out").child("get");
    for (const pugi::xml_node &node : get.child("data").children())
        node.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
    return QString::fromUtf8(writer.bytes);
}

QString lookUpByPugixml(const QByteArray &xml)
{
    pugi::xml_document document;
    document.load_buffer(xml.constData(), size_t(xml.size()), pugi::parse_default,
                         pugi::encoding_utf8);
    return valueIn(document);
}

QString lookUpByPugixml(const QString &xml)
{
    QByteArray utf8 = xml.toUtf8();
    pugi::xml_document document;
    parse(document, utf8);
    return valueIn(document);
}
