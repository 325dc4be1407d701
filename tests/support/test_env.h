#pragma once

#include <QString>
#include <QStringList>

// The temporary folder of this test process. XDG_CONFIG_HOME, XDG_CONFIG_DIRS,
// XDG_DATA_HOME, TMPDIR and HOME all point below it.
QString test_root();

// "<title> <n>" of each page of a PDF made of the simulator's sample pages, "?" for any other
// page, in the order of the page tree as qpdf reads it; empty when qpdf cannot read the file.
QStringList pageLabels(const QString& pdf);

#include <ostream>

// Readable QStrings and QStringLists in test failure messages.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}
inline void PrintTo(const QStringList& l, std::ostream* os) {
    *os << '[';
    for (const QString& s : l)
        *os << '"' << s.toStdString() << "\", ";
    *os << ']';
}
