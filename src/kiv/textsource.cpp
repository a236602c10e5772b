// SPDX-License-Identifier: LGPL-2.1-or-later
#include "textsource.h"

#include "asciitext.h"

#include <QtCore/QIODevice>

#include <algorithm>

namespace qvcommon
{

namespace
{

/** With less than this a reader cannot tell the encoding of bytes. */
const Size fewestBytes = 4;

/** Shorter texts are converted sooner than a device is made. */
const Size shortestInPieces = 1024;

// A reader of bytes cannot but understand a text in UTF-8 as it was meant if the bytes are valid on
// each version of Qt, look like no other encoding, and do not speak of one themselves. So it is
// with characters of Latin-1 that are no NUL, and without a declaration.

bool isDeclared(const QString &text)
{
    return text.startsWith(QLatin1String("<?xml"));
}

bool isLatin1(const QString &text)
{
    const QChar *const characters = text.constData();
    const Size size = text.size();
    unsigned range = 0;
    for (Size i = 0; i < size; ++i) // all of it, so that compilers can do several at once
        range |= rangeOf(characters[i]);
    return range < 0x100;
}

/** Converts characters of Latin-1 to UTF-8, which takes up to two bytes each. */
char *convert(char *out, const QChar *from, Size count)
{
    for (const QChar *const end = from + count; from != end; ++from) {
        const ushort code = from->unicode();
        if (code < 0x80) {
            *out++ = char(code);
        } else {
            *out++ = char(0xc0 | code >> 6);
            *out++ = char(0x80 | (code & 0x3f));
        }
    }
    return out;
}

/** The UTF-8 form of a text in Latin-1. */
class Utf8Device : public QIODevice
{
public:
    explicit Utf8Device(const QString &text)
        : next(text.constData())
        , left(text.size())
    {
        open(ReadOnly | Unbuffered);
    }

    bool isSequential() const { return true; }
    qint64 bytesAvailable() const { return left; }

protected:
    qint64 readData(char *data, qint64 maxSize);
    qint64 writeData(const char *, qint64) { return -1; }

private:
    const QChar *next;
    Size left;
};

qint64 Utf8Device::readData(char *data, qint64 maxSize)
{
    Size count = Size(std::min(maxSize, qint64(left)));
    char *end = data + count;
    if (!narrow(data, next, count)) {
        count = Size(std::min(maxSize / 2, qint64(left)));
        end = convert(data, next, count);
    }
    next += count;
    left -= count;
    return end - data;
}

} // namespace

TextSource::TextSource(QXmlStreamReader &xml, const QString &text)
    : text(text)
{
    const Size size = text.size();
    if (size >= shortestInPieces && !isDeclared(text) && isLatin1(text)) {
        device.reset(new Utf8Device(text));
        xml.setDevice(device.get());
        return;
    }
    if (size >= fewestBytes && size < shortestInPieces && !isDeclared(text)) {
        QByteArray bytes;
        bytes.resize(size);
        if (narrow(bytes.data(), text.constData(), size)) {
            xml.addData(bytes);
            return;
        }
    }
    xml.addData(text);
}

TextSource::~TextSource() = default;

} // namespace qvcommon
