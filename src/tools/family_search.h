#pragma once

#include <QByteArray>
#include <QString>

struct RunContext;

// The INPADOC family search: the company's service answers with the family and legal data of
// a number as an HTML page, which is kept in the PDF folder and opened in the browser. It has
// a web control of its own (Inet3), so that it works while an order runs.

// The number as the service wants it: Text3 upper-cased, without blanks, ",", "-", "/" and
// "\", and a WO number without kind code brought to the short form (WO + two-digit year +
// five- or six-digit serial).
QString family_number(const QString& text3);

// The request: "/Desktop_BQ/famlegalmulti.asp?PN=" + number + "&u=" + CustomerNumber +
// "&Kk=" + CustomerCode on the services host.
QString family_url(const QString& prefix, const QString& number);

// The page kept when the service does not answer.
QByteArray family_offline_page();

// The search behind Command2: asks the service, writes the page (or the offline page) to
// <number>.htm in the PDF folder, in the sub-folder of the reference when Text2 holds one,
// and opens it. Returns the file, "" when Text3 held no number (nothing is asked then).
QString family_search(RunContext& ctx, const QString& text3, const QString& text2);
