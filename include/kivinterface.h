// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_KIVINTERFACE_H
#define QVCOMMON_KIVINTERFACE_H

/** @file
 *  @brief The class KivInterface; brings QXmlStreamReader along for its special uses. */

#include "qvcommonexport.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QXmlStreamReader>
#include <QtNetwork/QAbstractSocket>
#include <QtNetwork/QLocalSocket>

class QTcpSocket;
class QTimerEvent;

namespace qvcommon
{
class SignalEmitter;
}

/**
 * @brief The client of the configuration daemon: requests go out, answers come back as signals.
 *
 * The application constructs one KivInterface in a thread that runs an event loop. It connects to
 * the local daemon over the Unix socket /tmp/kivd and, once an address is known and the connection
 * is activated, to a domain daemon over TCP; both are kept up for ever: a first attempt after
 * 2 seconds, then one every 10 seconds while there is no connection. A local daemon that does not
 * accept at once, because too many others wait for it, is left alone until the next attempt.
 *
 * @code
 * KivInterface kiv(nullptr);
 * QObject::connect(&kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), app, SLOT(ask()));
 * QObject::connect(&kiv, SIGNAL(kivGetSignal(QString, QString)), app,
 *                  SLOT(show(QString, QString)));
 * QObject::connect(&kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), app,
 *                  SLOT(complain(QString, QString, QString)));
 *
 * // In the slot ask():
 * KivInterface::requestDataGet("r1", "/state/sensors");
 * @endcode
 *
 * **References.** Every request carries a reference that the application chooses; the reply, and
 * each notification of a subscription, carries it back. The library keeps no list of requests: a
 * request whose connection is lost is never answered.
 *
 * **Texts are sent as they are given.** Nothing is escaped: paths and references must not contain
 * markup, and data is well-formed XML. In received data the characters & < > " ' are removed from
 * all text, and attributes are dropped.
 *
 * **Threads.** Everything here, the static calls included, belongs to the thread that constructed
 * the object. Signals are emitted from its event loop.
 *
 * **Ownership.** The object owns its sockets and timers. A slot connected to one of the signals
 * may send requests, run an event loop, and delete the object, at once or later. If a slot is still
 * running then, the sockets go when it has returned to the event loop.
 */
class QVCOMMON_EXPORT KivInterface : public QObject
{
    Q_OBJECT
public:
    /** The daemon that a message goes to. */
    enum KIVTARGET_ENUM QVCOMMON_INT_ENUM {
        KIVTARGET_LOCAL = 0, ///< the local daemon, over the Unix socket
        KIVTARGET_DOMAIN = 1 ///< the domain daemon, over TCP
    };

    /**
     * Becomes KivInterface::instance, creates both sockets and starts the connection timers.
     * While an instance exists, further objects are inert: they open nothing and send nothing.
     * Even so, destroying one of them leaves KivInterface::instance null.
     * @param parent owner of the object, or null
     */
    explicit KivInterface(QObject *parent);

    /** Drops both connections; KivInterface::instance is null afterwards. */
    virtual ~KivInterface();

    /** Whether the local daemon is connected; logs the state if not. */
    bool verifyLocalKivSocketOk();
    /** Whether the domain daemon is connected; logs the state if not. */
    bool verifyDomainKivSocketOk();

    /** @name Connections
     *  The local daemon is connected to without being told; connectToLocalKivSocketSlot() does so at
     *  once. The domain daemon needs an address and a permission.
     *  @{ */

    /**
     * Sets where the domain daemon is. A change drops the current TCP connection; the next
     * attempt, at most 10 seconds later, goes to the new address.
     * @param address host name or IP address
     * @param port TCP port, 1 to 65535; only the low 16 bits count
     * @return false if there is no KivInterface
     */
    static bool updateDomainServerIpAddress(const QString &address, int port);
    /**
     * Allows or forbids attempts to connect to the domain daemon; forbidden at first. An open
     * connection stays open.
     * @return false if there is no KivInterface
     */
    static bool domainServerActivateTcpConnection(bool active);
    /** @} */

    /** @name Requests
     *  The static calls use KivInterface::instance. All return true if the request was written to
     *  a connected socket; false means that it was dropped. Calls without a target go to the local
     *  daemon.
     *  @{ */

    /** Asks for the data below a path; answered by kivGetSignal() or kivErrorSignal(). */
    static bool requestDataGet(const QString &ref, const QString &path);
    /** The same for the daemon that @a target names. */
    static bool requestDataGet(const QString &ref, const QString &path, KIVTARGET_ENUM target);

    /**
     * Changes the data below a path; answered by kivOkSignal() or kivErrorSignal().
     * @param op the daemon's word for the operation, for example "patch", "replace" or "delete"
     * @param data an XML fragment; if empty the request carries no data element
     */
    static bool requestDataEdit(const QString &ref, const QString &path, const QString &op,
                                const QString &data);
    /** The same for the daemon that @a target names. */
    static bool requestDataEdit(const QString &ref, const QString &path, const QString &op,
                                const QString &data, KIVTARGET_ENUM target);

    /**
     * Subscribes to changes below a path, which then arrive as kivNotifySignal().
     * @param tag the element that names the kind of subscription to the daemon
     */
    static bool requestDataSubscribe(const QString &ref, const QString &path, const QString &tag);
    /** The same for the daemon that @a target names. */
    static bool requestDataSubscribe(const QString &ref, const QString &path, const QString &tag,
                                     KIVTARGET_ENUM target);
    /**
     * The same for some of the changes.
     * @param rpathMatch limits the paths that are reported; left out if null
     * @param sendNow whether the daemon reports the present state at once; left out if null
     */
    static bool requestDataSubscribe(const QString &ref, const QString &path, const QString &tag,
                                     const QString &rpathMatch, const QString &sendNow);
    /** The same for the daemon that @a target names. */
    static bool requestDataSubscribe(const QString &ref, const QString &path, const QString &tag,
                                     const QString &rpathMatch, const QString &sendNow,
                                     KIVTARGET_ENUM target);

    /**
     * Subscribes to the changes of one level.
     * @param sendNow left out if empty
     */
    static bool requestDataSubscribeSingleLevel(const QString &ref, const QString &ypath,
                                                const QString &tag, const QString &sendNow,
                                                KIVTARGET_ENUM target);

    /** Sends a request that the caller has written whole, without its line end and separator. */
    static bool requestData(const QString &message, KIVTARGET_ENUM target);
    /** @} */

Q_SIGNALS:
    /** @name What arrives
     *  All are emitted from the event loop of the thread that the object belongs to.
     *  @{ */

    /** The daemon has accepted a request. */
    void kivOkSignal(const QString &ref);
    /** The daemon has refused a request. */
    void kivErrorSignal(const QString &ref, const QString &typeStr, const QString &messageStr);
    /** The answer to a get request: the content of the reply's data element, as XML text. */
    void kivGetSignal(const QString &ref, const QString &data);
    /** One change in subscribed data. */
    void kivNotifySignal(const QString &ref, const QString &op, const QString &rpath,
                         const QString &spath, const QString &data);
    /** The local daemon is connected. */
    void kivLocalUnixSocketConnectedSignal();
    /** The local daemon could not be reached, or was lost. */
    void kivLocalUnixSocketDisConnectedSignal();
    /** The domain daemon is connected. */
    void kivDomainTcpSocketConnectedSignal();
    /** The domain daemon could not be reached, or was lost. */
    void kivDomainTcpSocketDisConnectedSignal();
    /** @} */

public:
    /** @name System messages
     *  Entries of the list that the local daemon keeps under /state/sys_messages. An entry is
     *  identified by its reporter and the reporter's own reference together.
     *
     *  The texts are filled in one after the other with QString::arg(), and sent as they are: a
     *  placeholder like "%3" in one of them takes the place of what follows, markup is not
     *  escaped, and an apostrophe in a reporter or a reference makes the entry impossible to
     *  withdraw.
     *
     *  All return true if the request was written to the local daemon, false if it was dropped.
     *  The daemon's verdict arrives as kivOkSignal() or kivErrorSignal().
     *
     *  @code
     *  KivInterface::putSysMessage("r1", "pump", "overheat", "error", "Pump is too hot", "");
     *  // When it has cooled down:
     *  KivInterface::deleteSysMessage("r2", "pump", "overheat");
     *  @endcode
     *  @{ */

    /**
     * Posts an entry, with the time in whole seconds since 1970-01-01 00:00 UTC.
     * @param ref the reference of the request, which the answer carries back
     * @param reporter who posts
     * @param repRef the reporter's own reference for the entry
     * @param level the severity, as the daemon words it
     * @param lineId left out if empty
     * @param text for people to read
     * @param msgData any more data, well-formed XML; may be empty
     */
    static bool putSysMessage(const QString &ref, const QString &reporter, const QString &repRef,
                              const QString &level, const QString &lineId, const QString &text,
                              const QString &msgData);
    /** The same without a line id. */
    static bool putSysMessage(const QString &ref, const QString &reporter, const QString &repRef,
                              const QString &level, const QString &text, const QString &msgData);

    /** Withdraws an entry. */
    static bool deleteSysMessage(const QString &ref, const QString &reporter,
                                 const QString &repRef);
    /** @} */

    /** @name Path look-ups
     *  Pick single values out of the data of a reply or notification. A path is a row of element
     *  names with "/" between them; empty steps count for nothing. The step "entry[key='value']"
     *  stands for the entry of a list whose key element has that value.
     *
     *  @code
     *  QString mtu;
     *  KivInterface::xpathGetTextNode(mtu, "interfaces/interface[name='eth0']/mtu", "", data);
     *  @endcode
     *
     *  Each step is looked for from where the step before it was found, forward and at any depth:
     *  "a/b" also finds a b that stands behind a, or in the next entry of a list. The XML is read
     *  only as far as needed, and what follows is not checked. It has one element at the top;
     *  where @a data has several, put an element around them.
     *
     *  All return whether the value was found. If not, @a result is left as it was; if the element
     *  is there but does not begin with text, @a result becomes null. Nothing is logged.
     *
     *  **Threads.** These calls keep no state and may be made from any thread.
     *  @{ */

    /**
     * Finds the text of an element.
     * @param path the way to the element. A last step that is the key of the latest list step
     *        yields the key's value, also with plain steps in between; a list step itself cannot be
     *        last.
     * @param prefix what @a path must start with; it is removed wherever it occurs in the path. If
     *        nothing is left, the last step of @a path is looked for. May be empty.
     * @param xml the text to look in
     */
    static bool xpathGetTextNode(QString &result, const QString &path, const QString &prefix,
                                 const QString &xml);
    /** The same with the prefix @a rootPath + @a subPath. */
    static bool xpathGetTextNode(QString &result, const QString &path, const QString &rootPath,
                                 const QString &subPath, const QString &xml);
    /**
     * The same for one of several elements.
     * @param index which of the elements named by the last step, in document order, from 0; with a
     *        negative one none is found. It does not count where the last step yields a key's value.
     */
    static bool xpathGetTextNode(QString &result, const QString &path, const QString &rootPath,
                                 const QString &subPath, const QString &xml, int index);
    /** @} */

    /** @name Diagnostics
     *  @{ */

    /** Turns on the optional diagnostic output, on Trace and on Qt's debug output. */
    static void debugPrintEnable();
    /** Turns off the optional diagnostic output. */
    static void debugPrintDisable();
    /** @} */

    /** @name Requests, for special use
     *  The static calls end here: the members, and what writes their texts.
     *  @{ */

    /** Member behind requestDataGet(). Path and reference stand the other way round, here and below. */
    bool sendKivGetMesssage(const QString &path, const QString &ref, KIVTARGET_ENUM target);
    /** Member behind requestDataEdit(). */
    bool sendKivEditMesssage(const QString &path, const QString &ref, const QString &op,
                             const QString &data, KIVTARGET_ENUM target);
    /** Member behind requestDataSubscribe(). */
    bool sendKivSubscribeMesssage(const QString &path, const QString &ref, const QString &tag,
                                  const QString &rpathMatch, const QString &sendNow,
                                  KIVTARGET_ENUM target);
    /** Member behind requestDataSubscribeSingleLevel(). */
    bool sendKivSubscribeMesssageSingleLevel(const QString &ypath, const QString &ref,
                                             const QString &tag, const QString &sendNow,
                                             KIVTARGET_ENUM target);
    /** Member behind requestData(). */
    bool sendKivMesssage(const QString &message, KIVTARGET_ENUM target);
    /** Member behind requestSendKivDebugValidateOff(). */
    bool sendKivDebugValidateOff(const QString &value, KIVTARGET_ENUM target);

    /** Switches the daemon's own validation off or on. The answer carries no reference. */
    static bool requestSendKivDebugValidateOff(const QString &value);
    /** The same for the daemon that @a target names. */
    static bool requestSendKivDebugValidateOff(const QString &value, KIVTARGET_ENUM target);

    /**
     * Writes a text to the local daemon as it stands, in the local 8-bit encoding and up to the
     * first NUL byte. The text ends with the frame separator "\f\n".
     * @return false if there is no connection: the text is dropped. A text that is sent from a slot
     * on the disconnected signal may be dropped although the call returns true.
     */
    bool sendMsgToLocalKiv(const QString &msg);
    /** The same for the domain daemon. */
    bool sendMsgToDomainKiv(const QString &msg);
    /** @} */

    /** @name Path look-ups, for special use
     *  The steps of which a look-up is made.
     *  @{ */

    /**
     * Follows a path from where @a reader stands.
     * @param steps the steps of the path; those that are done are removed, but never the last one
     */
    static bool xpathFindTextNode(QString &result, QStringList &steps, QXmlStreamReader &reader,
                                  int index);
    /**
     * Takes a list step apart. Only the first key of a step counts, and a value ends at the first
     * of the characters [ ] = '.
     * @return whether it is one; if not, the outputs before the missing one may be written
     */
    static bool xpathValidateListNode(const QString &step, QString &listName, QString &keyName,
                                      QString &keyValue);
    /** Reads up to the next start tag of an element called @a name. */
    static bool xpathCrawlToXmlNode(QString name, QXmlStreamReader &reader);
    /**
     * Reads up to the end tag of the key whose text is @a keyValue, that is into a list entry. An
     * element called like the value ends the search as well. The three texts are only read.
     */
    static bool xpathCrawlToXmlList(QString &listName, QString &keyName, QString &keyValue,
                                    QXmlStreamReader &reader);
    /** Reads the text of the @a index -th next element called @a name; the name is only read. */
    static bool xpathReturnXmlNode(QString &result, QString &name, QXmlStreamReader &reader,
                                   int index);
    /**
     * Picks a quoted value out of a list step or a path: what stands between the first quote
     * behind @a key and the next one. The key also matches inside a longer name.
     */
    static bool xpathGetKey(const QString &text, const QString &key, QString &value);
    /** @} */

    /** @name The receive path, for special use
     *  The way of a received frame, open for feeding it by hand. The handlers that take a reader
     *  expect it just behind the start tag of their element and return whether that element was
     *  closed properly.
     *  @{ */

    /** Takes one frame, without its separator, apart into header and XML body. */
    void handleFrame(QString &frame);
    /** Logs a known header if the diagnostic output is on. */
    void handleHeader(QString &header);
    /** Parses one body and emits its signals. */
    void handleKivMsgBody(QString &body);
    /** A reply: reads on to what it answers with. */
    bool handleReply(QXmlStreamReader &xml);
    /** The element "out" of a reply: reads what is in it. */
    bool handleReplyOut(QXmlStreamReader &xml, QString &ref);
    /** The answer to a get request. */
    bool handleReplyOutGet(QXmlStreamReader &xml, QString &ref);
    /** The data of that answer; emits kivGetSignal(). */
    bool handleReplyOutGetData(QXmlStreamReader &xml, QString &ref);
    /** The answer to an edit request; emits kivOkSignal(). */
    bool handleReplyOutEdit(QXmlStreamReader &xml, QString &ref);
    /** What the daemon tells of the session; emits kivOkSignal() where it says so. */
    bool handleReplyOutSessionInfo(QXmlStreamReader &xml, QString &ref);
    /** A refusal; emits kivErrorSignal(). */
    bool handleReplyOutError(QXmlStreamReader &xml, QString &ref);
    /** A request; the client answers none. */
    bool handleRequest(QXmlStreamReader &xml);
    /** A notification. */
    bool handleNotify(QXmlStreamReader &xml);
    /** One event of a notification. */
    bool handleNotifyEvent(QXmlStreamReader &xml, QString &ref);
    /** One change of an event; emits kivNotifySignal(). */
    bool handleNotifyEventChange(QXmlStreamReader &xml, QString &ref);
    /** The data of a change. */
    bool handleNotifyEventChangeData(QXmlStreamReader &xml, QString &data);
    /** Logs that a body could not be understood. */
    void reportKivParsingErr(QString body);
    /** Removes the characters & < > " ' from a text. */
    void removeXmlEscapeCharacters(QString &text);
    /** Logs the reader's current token. */
    void debugXmlNode(QXmlStreamReader &xml);

    /**
     * The daemon's checksum text that was received last; empty before the first. In a slot of
     * kivNotifySignal() it belongs to the change if the daemon sent it inside the change; in a
     * slot of kivGetSignal() it is still the previous one if it stands behind the data.
     */
    static QString &getCurrentKivMsgCrc32Value();
    /** @} */

    /** The one client, or null. */
    static KivInterface *instance;
    /** Whether the optional diagnostic output is on. */
    static bool enableDebugPrint;
    /** What getCurrentKivMsgCrc32Value() returns. */
    static QString crc32;

    /** @name Connections, for special use
     *  The constructor, the timers and the sockets call these.
     *  @{ */

    /** Member behind updateDomainServerIpAddress(). */
    void updateDomainServerIpAddressLocal(const QString &address, int port);

    /** Asks a daemon to speak XML; done on every connection already. */
    void setXmlFormat(KIVTARGET_ENUM target);

    /** Creates the local socket; done by the constructor already. */
    void createLocalKivSocket();
    /** Creates the TCP socket; done by the constructor already. */
    void createDomainKivSocket();

    /** Connects whatever is not connected, every 10 seconds. */
    virtual void timerEvent(QTimerEvent *event);

public Q_SLOTS:
    /** Reads what has arrived from the local daemon. */
    void dataFromKivLocalUnixSlot();
    /** Reads what has arrived from the domain daemon. */
    void dataFromKivDomainTcpSlot();
    /** Reports an error of the local socket. */
    void handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError socketError);
    /** Reports an error of the TCP socket. */
    void handleDomainKivSocketErrorSlot(QAbstractSocket::SocketError socketError);
    /** Greets the local daemon. */
    void connectedToLocalKivSlot();
    /** Greets the domain daemon. */
    void connectedToDomainKivSlot();
    /** @} */

    /**
     * Connects to the local daemon unless connected or connecting. In a slot on the disconnected
     * signal the socket is not free yet; call it later.
     */
    void connectToLocalKivSocketSlot();
    /**
     * Connects to the domain daemon, if that is wanted, unless connected or connecting. After a loss
     * the socket is not free yet in a slot on the disconnected signal; call it later.
     */
    void connectToDomainKivSocketSlot();

    /**
     * Prints a count of written bytes if the diagnostic output is on. Nothing is connected to it;
     * an application may connect the bytesWritten(qint64) of a socket.
     */
    void bytesWrittenSlot(qint64 bytes);

private:
    Q_DISABLE_COPY(KivInterface)

    friend class qvcommon::SignalEmitter; // signals are protected on Qt 4

    QString rcvLocalFrameBuffer;
    QString rcvDomainFrameBuffer;
    bool domainTcpActive;
    QLocalSocket *localKivSocket;
    QTcpSocket *domainKivSocket;
    QString domainServerIpAddress;
    quint16 domainServerPort;
    qint32 reserved;
};

#endif
