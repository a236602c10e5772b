// SPDX-License-Identifier: LGPL-2.1-or-later

// Logs a text of any length. A message of 360 characters or more gives an empty line, so a longer
// one is split, at blanks where there are some. Without an argument the text comes from standard
// input.
//
//     longtext "$(cat report.txt)"
//
// Exit status: 0 it is logged, 2 wrong usage.

#include "trace.h"

#include <QtCore/QStringList>
#include <QtCore/QTextStream>

#include <cstdio>
#include <cstring>

// [split]
/**
 * Cuts a text into messages that the log takes as they are. Each has less than 180 characters: longer
 * ones are cut once more, and lose the blank that they are cut at.
 */
static QStringList messagesOf(const QString &text)
{
    const int longest = 170;                // with the numbers in front of it less than 180
    const QString rest = text.simplified(); // so does the log: white space is one blank
    QStringList pieces;
    for (int begin = 0; begin < rest.size();) {
        int end = int(rest.size());
        if (end - begin > longest) {
            const int blank = int(rest.lastIndexOf(' ', begin + longest));
            end = blank > begin ? blank : begin + longest;
        }
        pieces << rest.mid(begin, end - begin).trimmed();
        begin = end;
    }
    return pieces;
}

/** As Trace::log(), for texts of any length; the parts of a long one are numbered. */
static void logText(int group, int level, const QString &className, const QString &functionName,
                    const QString &text)
{
    const QStringList messages = messagesOf(text);
    for (int i = 0; i < messages.size(); ++i) {
        const QString number =
            messages.size() == 1 ? QString() : QString("%1/%2 ").arg(i + 1).arg(messages.size());
        Trace::log(group, level, className, functionName, number + messages.at(i));
    }
}
// [split]

class Printer : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void print(const QString &line) { std::printf("%s\n", qPrintable(line)); }
};

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc > 2) {
        std::fputs("usage: longtext [TEXT]\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    const QString text = argc == 2 ? QString::fromLocal8Bit(argv[1]) : QTextStream(stdin).readAll();
    Trace trace(nullptr);
    Printer printer;
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &printer, SLOT(print(QString)),
                     Qt::DirectConnection);
    logText(8, 2, "LongText", "main", text);
    return 0;
}

#include "longtext.moc"
