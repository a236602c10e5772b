// SPDX-License-Identifier: LGPL-2.1-or-later
#include "localcodec.h"

#include <QtCore/QtGlobal>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

#    include <QtCore/QTextCodec>

#    include <cstring>

namespace
{

/** A codec for which ASCII characters do not stand for themselves. */
class RotatingCodec : public QTextCodec
{
public:
    QByteArray name() const { return "rot"; }
    int mibEnum() const { return 9999; }

protected:
    QString convertToUnicode(const char *bytes, int length, ConverterState *) const
    {
        return QString::fromLatin1(bytes, length);
    }
    QByteArray convertFromUnicode(const QChar *text, int length, ConverterState *) const
    {
        QByteArray bytes;
        for (int i = 0; i < length; ++i)
            bytes += char(text[i].unicode() + 1);
        return bytes;
    }
};

} // namespace

void setLocalCodec(const char *name)
{
    // Qt owns its codecs.
    static QTextCodec *const rotating = new RotatingCodec;
    if (name && std::strcmp(name, "rot") == 0)
        QTextCodec::setCodecForLocale(rotating);
    else
        QTextCodec::setCodecForLocale(name ? QTextCodec::codecForName(name) : nullptr);
}

#else

void setLocalCodec(const char *) {}

#endif

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)

bool setCodecForCStrings(const char *name)
{
    QTextCodec::setCodecForCStrings(name ? QTextCodec::codecForName(name) : nullptr);
    return true;
}

#else

bool setCodecForCStrings(const char *)
{
    return false;
}

#endif
