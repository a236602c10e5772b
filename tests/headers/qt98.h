// SPDX-License-Identifier: LGPL-2.1-or-later
// Stands in for the headers of Qt 4.8, which Debian 12 has not and later ones of Qt cannot take the
// place of, since they refuse a compiler older than C++11. It has as much of Qt as the public headers
// and cxx98.cpp name.
#ifndef QVCOMMON_QT98_H
#define QVCOMMON_QT98_H

#define Q_DECL_EXPORT __attribute__((visibility("default")))
#define Q_DECL_IMPORT __attribute__((visibility("default")))
#define Q_DISABLE_COPY(Class)                                                                      \
    Class(const Class &);                                                                          \
    Class &operator=(const Class &);
#define Q_OBJECT                                                                                   \
public:                                                                                            \
    virtual const char *metaObject() const;                                                        \
                                                                                                   \
private:
#define Q_SIGNALS protected
#define Q_SLOTS

typedef int qint32;
typedef __INT64_TYPE__ qint64;
typedef unsigned short quint16;

class QTimerEvent;

class QObject
{
public:
    explicit QObject(QObject *parent = 0);
    virtual ~QObject();

protected:
    virtual void timerEvent(QTimerEvent *event);

private:
    Q_DISABLE_COPY(QObject)
};

class QThread : public QObject
{
protected:
    virtual void run();
};

class QString
{
public:
    QString();
    QString(const char *text);
};

template <class T>
class QList
{
};

class QStringList : public QList<QString>
{
};

class QMutex
{
};

class QXmlStreamReader
{
public:
    explicit QXmlStreamReader(const QString &data);
};

class QAbstractSocket : public QObject
{
public:
    enum SocketError { UnknownSocketError = -1 };
};

class QLocalSocket : public QObject
{
public:
    enum LocalSocketError { UnknownSocketError = -1 };
};

#endif
