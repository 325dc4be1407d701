#pragma once

#include <QByteArray>
#include <QString>

struct RunContext;
class WebControl;

// Small rules shared by the retrievers of the default route.

// The WO years rule: for a number that starts with "WO", "WO04" becomes "WO2004", "WO05"
// "WO2005", and so on up to lastYear (two digits, 9 to 14), each rule applied to the result
// of the one before. Other numbers come back unchanged.
QString wo_years(const QString& number, int lastYear = 14);

// A number as the classic Val reads it: blanks, tabs and line feeds are skipped, then an
// optional sign and the leading digits; anything else ends it, and no digits read as 0. A
// value beyond the range of a page count reads as 0, as the failed assignment leaves the
// variable at its start value.
int vb_val(const QString& text);

// The answer of a request as text (one character per byte), "" when nothing came back.
QString fetch_text(WebControl& inet, const QString& url);
// The answer of a request as bytes, empty when nothing came back.
QByteArray fetch_bytes(WebControl& inet, const QString& url);

// Writes the bytes under path, replacing what stood there; the file appears under its
// name only complete. False when it could not be written.
bool save_bytes(const QString& path, const QByteArray& bytes);

// The characters of a downloaded file that the HTML test looks at: its first 300, or all
// but the last when the file is 300 bytes long or shorter.
QString html_test_text(const QString& path);

// True when text holds "<HTML>" in any case.
bool holds_html(const QString& text);

// The first character of a setting is "1".
bool setting_on(const QString& name, const QString& defaultValue);
