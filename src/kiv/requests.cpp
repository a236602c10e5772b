// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "kiv/kivlog.h"

#include <QtCore/QStringBuilder>

using namespace qvcommon;

namespace
{

const char requestBegin[] = "<request><ref>";
const char rpcBegin[] = "</ref><rpc>";
const char requestEnd[] = "</rpc></request>\r\n\f\n";

/** What follows the text of a message that comes without its end. */
const char messageEnd[] = "\r\n\f\n";

/** A piece of markup, or nothing. */
QLatin1String markupIf(bool wanted, const char *markup)
{
    return QLatin1String(wanted ? markup : "");
}

/** Logs a request if the diagnostic output is on, and sends it where it belongs. */
bool send(KivInterface &kiv, const QString &text, KivInterface::KIVTARGET_ENUM target,
          const char *function, TraceLevel wrongTargetLevel = CriticalLevel)
{
    if (KivInterface::enableDebugPrint)
        kivSource.log(DebugLevel, function, text);
    switch (target) {
    case KivInterface::KIVTARGET_LOCAL:
        return kiv.sendMsgToLocalKiv(text);
    case KivInterface::KIVTARGET_DOMAIN:
        return kiv.sendMsgToDomainKiv(text);
    }
    kivSource.log(wrongTargetLevel, function, "Wrong kiv target!!");
    return false;
}

} // namespace

bool KivInterface::sendKivGetMesssage(const QString &path, const QString &ref,
                                      KIVTARGET_ENUM target)
{
    const QString text = QLatin1String(requestBegin) % ref % QLatin1String(rpcBegin) %
                         QLatin1String("<get><path>") % path % QLatin1String("</path></get>") %
                         QLatin1String(requestEnd);
    return send(*this, text, target, "sendKivGetMesssage");
}

bool KivInterface::sendKivEditMesssage(const QString &path, const QString &ref, const QString &op,
                                       const QString &data, KIVTARGET_ENUM target)
{
    const bool hasData = !data.isEmpty();
    const QString text = QLatin1String(requestBegin) % ref % QLatin1String(rpcBegin) %
                         QLatin1String("<edit><op>") % op % QLatin1String("</op><path>") % path %
                         QLatin1String("</path>") % markupIf(hasData, "<data>") % data %
                         markupIf(hasData, "</data>") % QLatin1String("</edit>") %
                         QLatin1String(requestEnd);
    return send(*this, text, target, "sendKivEditMesssage");
}

bool KivInterface::sendKivSubscribeMesssage(const QString &path, const QString &ref,
                                            const QString &tag, const QString &rpathMatch,
                                            const QString &sendNow, KIVTARGET_ENUM target)
{
    // Empty is not the same as left out here: the daemon is told of an empty value.
    const bool hasMatch = !rpathMatch.isNull();
    const bool hasSendNow = !sendNow.isNull();
    const QString text = QLatin1String(requestBegin) % ref % QLatin1String(rpcBegin) %
                         QLatin1String("<subscribe><") % tag % QLatin1String("><path>") % path %
                         QLatin1String("</path>") % markupIf(hasMatch, "<rpath_match>") %
                         rpathMatch % markupIf(hasMatch, "</rpath_match>") %
                         markupIf(hasSendNow, "<send_now>") % sendNow %
                         markupIf(hasSendNow, "</send_now>") % QLatin1String("</") % tag %
                         QLatin1String("></subscribe>") % QLatin1String(requestEnd);
    return send(*this, text, target, "sendKivSubscribeMesssage");
}

bool KivInterface::sendKivSubscribeMesssageSingleLevel(const QString &ypath, const QString &ref,
                                                       const QString &tag, const QString &sendNow,
                                                       KIVTARGET_ENUM target)
{
    const bool hasSendNow = !sendNow.isEmpty();
    const QString text = QLatin1String(requestBegin) % ref % QLatin1String(rpcBegin) %
                         QLatin1String("<subscribe><") % tag % QLatin1String("><ypath>") % ypath %
                         QLatin1String("</ypath>") % markupIf(hasSendNow, "<send_now>") % sendNow %
                         markupIf(hasSendNow, "</send_now>") % QLatin1String("</") % tag %
                         QLatin1String("></subscribe>") % QLatin1String(requestEnd);
    return send(*this, text, target, "sendKivSubscribeMesssageSingleLevel");
}

bool KivInterface::sendKivMesssage(const QString &message, KIVTARGET_ENUM target)
{
    const QString text = message % QLatin1String(messageEnd);
    return send(*this, text, target, "sendKivMesssage");
}

bool KivInterface::sendKivDebugValidateOff(const QString &value, KIVTARGET_ENUM target)
{
    const QString text = QLatin1String("encode:xml\r\n<rpc><kivd_debug><validate_off>") % value %
                         QLatin1String("</validate_off></kivd_debug></rpc>") %
                         QLatin1String(messageEnd);
    return send(*this, text, target, "sendKivDebugValidateOff", DebugLevel);
}

bool KivInterface::requestDataGet(const QString &ref, const QString &path)
{
    return requestDataGet(ref, path, KIVTARGET_LOCAL);
}

bool KivInterface::requestDataGet(const QString &ref, const QString &path, KIVTARGET_ENUM target)
{
    return instance && instance->sendKivGetMesssage(path, ref, target);
}

bool KivInterface::requestDataEdit(const QString &ref, const QString &path, const QString &op,
                                   const QString &data)
{
    return requestDataEdit(ref, path, op, data, KIVTARGET_LOCAL);
}

bool KivInterface::requestDataEdit(const QString &ref, const QString &path, const QString &op,
                                   const QString &data, KIVTARGET_ENUM target)
{
    return instance && instance->sendKivEditMesssage(path, ref, op, data, target);
}

bool KivInterface::requestDataSubscribe(const QString &ref, const QString &path, const QString &tag)
{
    return requestDataSubscribe(ref, path, tag, KIVTARGET_LOCAL);
}

bool KivInterface::requestDataSubscribe(const QString &ref, const QString &path, const QString &tag,
                                        KIVTARGET_ENUM target)
{
    return requestDataSubscribe(ref, path, tag, QString(), QString(), target);
}

bool KivInterface::requestDataSubscribe(const QString &ref, const QString &path, const QString &tag,
                                        const QString &rpathMatch, const QString &sendNow)
{
    return requestDataSubscribe(ref, path, tag, rpathMatch, sendNow, KIVTARGET_LOCAL);
}

bool KivInterface::requestDataSubscribe(const QString &ref, const QString &path, const QString &tag,
                                        const QString &rpathMatch, const QString &sendNow,
                                        KIVTARGET_ENUM target)
{
    return instance &&
           instance->sendKivSubscribeMesssage(path, ref, tag, rpathMatch, sendNow, target);
}

bool KivInterface::requestDataSubscribeSingleLevel(const QString &ref, const QString &ypath,
                                                   const QString &tag, const QString &sendNow,
                                                   KIVTARGET_ENUM target)
{
    return instance &&
           instance->sendKivSubscribeMesssageSingleLevel(ypath, ref, tag, sendNow, target);
}

bool KivInterface::requestData(const QString &message, KIVTARGET_ENUM target)
{
    return instance && instance->sendKivMesssage(message, target);
}

bool KivInterface::requestSendKivDebugValidateOff(const QString &value)
{
    return requestSendKivDebugValidateOff(value, KIVTARGET_LOCAL);
}

bool KivInterface::requestSendKivDebugValidateOff(const QString &value, KIVTARGET_ENUM target)
{
    return instance && instance->sendKivDebugValidateOff(value, target);
}
