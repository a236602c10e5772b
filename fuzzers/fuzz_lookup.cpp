// SPDX-License-Identifier: LGPL-2.1-or-later

// Look-ups by the client and by the plain formulation. The input has a line each for the path and
// for two pieces of its prefix, one character for the index, and the XML behind that line.
//
// Covers: src/kiv/pathlookups.cpp src/kiv/tokenreader.cpp

#include "differential.h"
#include "fuzzing.h"

void fuzz(const QByteArray &bytes)
{
    static Differential differential;
    QString rest = textOf(bytes);
    Question question;
    question.path = takeLine(rest);
    question.rootPath = takeLine(rest);
    question.subPath = takeLine(rest);
    const QString index = takeLine(rest);
    question.index = index.isEmpty() ? 0 : index.at(0).unicode() - '0';
    question.xml = rest;
    requireNone(differential.lookUps(question));
    requireNone(differential.lookUpsByReader(question, Delivery(rest.length() % deliveryCount)));
}
