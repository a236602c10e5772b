// SPDX-License-Identifier: LGPL-2.1-or-later
#include "spdlogpeer.h"

#include "sampleline.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>

namespace
{

const size_t neverFull = size_t(1) << 30; // bytes
const size_t oldFiles = 9;

std::shared_ptr<spdlog::logger> makeLogger(const spdlog::sink_ptr &sink)
{
    const auto logger = std::make_shared<spdlog::logger>("bench", sink);
    logger->set_pattern("%v, %Y-%m-%d %H:%M:%S.%e");
    logger->set_level(spdlog::level::info);
    logger->flush_on(spdlog::level::info);
    return logger;
}

} // namespace

SpdlogPeer::SpdlogPeer()
    : className(SampleTexts().className.toStdString())
    , functionName(SampleTexts().functionName.toStdString())
    , message(SampleTexts().message.toStdString())
{
    close();
}

SpdlogPeer::~SpdlogPeer() {}

void SpdlogPeer::open(const std::string &fileName)
{
    close();
    std::remove(fileName.c_str());
    logger = makeLogger(
        std::make_shared<spdlog::sinks::rotating_file_sink_mt>(fileName, neverFull, oldFiles));
}

void SpdlogPeer::close()
{
    logger = makeLogger(std::make_shared<spdlog::sinks::null_sink_mt>());
}

void SpdlogPeer::log(int count)
{
    for (int number = 1; number <= count; ++number)
        logger->info("{:>5} {:<30} {:<30} {:<80}, tid={}", number, className, functionName, message,
                     1);
}

void SpdlogPeer::reject(int count)
{
    for (int i = 0; i < count; ++i)
        logger->debug(message);
}
