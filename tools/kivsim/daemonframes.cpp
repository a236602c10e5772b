// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/daemonframes.h"

#include "kivsim/xmlinput.h"

#include <zlib.h>

#include <cstddef>

namespace kivsim
{

namespace
{

const char frameEnd[] = "\r\n\f\n";
const size_t longestMessage = 200;

std::string dataAndChecksum(const std::string &content)
{
    const auto *bytes = reinterpret_cast<const Bytef *>(content.data());
    const uLong checksum = crc32_z(0, bytes, content.size());
    return "<data>" + content + "</data><crc32>" + std::to_string(checksum) + "</crc32>";
}

std::string reply(const std::string &header, const std::string &ref, const std::string &out)
{
    return header + "\r\n<reply><ref>" + escaped(ref) + "</ref><out>" + out + "</out></reply>" +
           frameEnd;
}

/** Cuts a text, but not inside of a character. */
std::string shortened(const std::string &text)
{
    if (text.size() <= longestMessage)
        return text;
    size_t length = longestMessage;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80)
        --length;
    return text.substr(0, length) + "...";
}

} // namespace

std::string editReply(const std::string &ref)
{
    return reply("ack:edit", ref, "<edit><ok/></edit>");
}

std::string sessionInfoReply(const std::string &ref)
{
    return reply("ack:session_info", ref, "<session_info><ok/></session_info>");
}

std::string getReply(const std::string &ref, const std::string &path, const std::string &content)
{
    return reply("ack:get", ref,
                 "<get><path>" + escaped(path) + "</path>" + dataAndChecksum(content) + "</get>");
}

std::string errorReply(const std::string &ref, const std::string &type, const std::string &message)
{
    return reply("errbody:" + type, ref,
                 "<error><type>" + type + "</type><message>" + escaped(shortened(message)) +
                     "</message></error>");
}

std::string notification(const std::string &ref, const Change &change)
{
    return "<notify><ref>" + escaped(ref) + "</ref><event><change><op>" + change.op +
           "</op><spath>" + escaped(change.subscribedPath) + "</spath><rpath>" +
           escaped(change.changedPath) + "</rpath>" + dataAndChecksum(change.content) +
           "</change></event></notify>" + frameEnd;
}

} // namespace kivsim
