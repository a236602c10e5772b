// SPDX-License-Identifier: LGPL-2.1-or-later
#include "wiremessages.h"

namespace
{

const char frameEnd[] = "\r\n\f\n";

QByteArray element(const char *name, const QByteArray &content)
{
    return QByteArray("<") + name + ">" + content + "</" + name + ">";
}

/** The CRC-32 of IEEE 802.3, bit by bit. */
quint32 checksum(const QByteArray &bytes)
{
    quint32 crc = 0xffffffff;
    for (char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 1 ? crc >> 1 ^ 0xedb88320 : crc >> 1;
    }
    return ~crc;
}

QByteArray dataAndChecksum(const QByteArray &content)
{
    return element("data", content) + element("crc32", QByteArray::number(checksum(content)));
}

QByteArray answer(const QByteArray &header, const QByteArray &ref, const QByteArray &out)
{
    return header + "\r\n" + element("reply", element("ref", ref) + element("out", out)) + frameEnd;
}

} // namespace

QByteArray request(const QByteArray &ref, const QByteArray &operation)
{
    return element("request", element("ref", ref) + element("rpc", operation)) + frameEnd;
}

QByteArray getRequest(const QByteArray &ref, const QByteArray &path)
{
    return request(ref, element("get", element("path", path)));
}

QByteArray editRequest(const QByteArray &ref, const QByteArray &op, const QByteArray &path,
                       const QByteArray &data)
{
    return request(
        ref, element("edit", element("op", op) + element("path", path) + element("data", data)));
}

QByteArray subscribeRequest(const QByteArray &ref, const QByteArray &kind)
{
    return request(ref, element("subscribe", element("changes", kind)));
}

QByteArray validateOffRequest(const QByteArray &ref, const QByteArray &value)
{
    return request(ref, element("kivd_debug", element("validate_off", value)));
}

QByteArray misbehaveRequest(const QByteArray &ref, const QByteArray &order)
{
    return request(ref, element("kivsim", element("misbehave", order)));
}

QByteArray getAnswer(const QByteArray &ref, const QByteArray &path, const QByteArray &content)
{
    return answer("ack:get", ref, element("get", element("path", path) + dataAndChecksum(content)));
}

QByteArray editAnswer(const QByteArray &ref)
{
    return answer("ack:edit", ref, "<edit><ok/></edit>");
}

QByteArray sessionInfoAnswer(const QByteArray &ref)
{
    return answer("ack:session_info", ref, "<session_info><ok/></session_info>");
}

QByteArray errorAnswer(const QByteArray &ref, const QByteArray &type, const QByteArray &message)
{
    return answer("errbody:" + type, ref,
                  element("error", element("type", type) + element("message", message)));
}

QByteArray notification(const QByteArray &ref, const QByteArray &op, const QByteArray &spath,
                        const QByteArray &rpath, const QByteArray &content)
{
    const QByteArray change = element("op", op) + element("spath", spath) +
                              element("rpath", rpath) + dataAndChecksum(content);
    return element("notify", element("ref", ref) + element("event", element("change", change))) +
           frameEnd;
}

QString readable(const QByteArray &bytes)
{
    QString text;
    for (char c : bytes) {
        const int code = static_cast<unsigned char>(c);
        if (code >= 0x20 && code < 0x7f && c != '\\')
            text += QLatin1Char(c);
        else
            text += QString::fromLatin1("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
        if (c == '\n')
            text += QLatin1Char('\n');
    }
    return text;
}
