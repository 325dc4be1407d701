#pragma once

#include <QString>
#include <QStringList>

struct RunContext;

// The list as both passes split it: upper-cased, blanks trimmed off the whole text, every
// LF deleted, split at every CR.
QStringList split_list(const QString& text);

// A line as both passes clean it: trimmed, then every " ", ",", "-", "/" and "\" deleted.
QString clean_line(const QString& line);

// The canonical spelling of one cleaned line (EP kind codes A, A1, A2 dropped; WO years
// and serials normalised). Other lines come back unchanged.
QString canonical_number(const QString& cleaned);

// First pass: the whole list rewritten into canonical spelling, each line ended by CR LF.
QString canonical_list(const QString& text);

struct Office;

// Which retriever a cleaned line goes to, by the first row of the office table's routing
// rows that takes it, and the number it is handed.
struct Routing {
    bool skip = false;              // two characters or fewer: no retriever, no log line
    const Office* office = nullptr; // nullptr: the retrieval chain, get_patent
    QString number;
    bool forceUspto = false;
    bool fallback = false; // the third argument of depatis_download
};
Routing route_line(const QString& cleaned, bool depatisTicked);

// Second pass: walks the list and hands each number to its retriever.
void dispatch_list(RunContext& ctx, const QString& text, const QString& reference);
