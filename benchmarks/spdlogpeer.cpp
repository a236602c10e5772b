// SPDX-License-Identifier: LGPL-2.1-or-later

// Built twice: with spdlog's library, and with its headers alone.

#include "spdlogpeer.h"

#include "samplelines.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>

namespace
{

const size_t neverFull = size_t(1) << 30; // bytes
const size_t oldFiles = 9;

std::unique_ptr<spdlog::logger> makeLogger(const spdlog::sink_ptr &sink)
{
    std::unique_ptr<spdlog::logger> logger(new spdlog::logger("bench", sink));
    logger->set_pattern("%v, %Y-%m-%d %H:%M:%S.%e");
    logger->set_level(spdlog::level::info);
    return logger;
}

class Peer : public SpdlogPeer
{
public:
    Peer()
        : logger(makeLogger(std::make_shared<spdlog::sinks::null_sink_mt>()))
        , className(SampleTexts().className.toStdString())
        , functionName(SampleTexts().functionName.toStdString())
        , message(SampleTexts().message.toStdString())
    {
    }

    void open(const std::string &fileName, bool flushEach) override
    {
        logger.reset();
        std::remove(fileName.c_str());
        logger = makeLogger(
            std::make_shared<spdlog::sinks::rotating_file_sink_mt>(fileName, neverFull, oldFiles));
        logger->flush_on(flushEach ? spdlog::level::info : spdlog::level::off);
    }

    void log(int count) override
    {
        for (int number = 1; number <= count; ++number)
            logger->info("{:>5} {:<30} {:<30} {:<80}, tid={}", number, className, functionName,
                         message, 1);
    }

    void flush() override { logger->flush(); }

    void reject(int count) override
    {
        for (int i = 0; i < count; ++i)
            logger->debug(message);
    }

private:
    std::unique_ptr<spdlog::logger> logger;
    const std::string className;
    const std::string functionName;
    const std::string message;
};

} // namespace

__attribute__((visibility("default"))) std::unique_ptr<SpdlogPeer> MAKE_SPDLOG_PEER()
{
    return std::unique_ptr<SpdlogPeer>(new Peer);
}
