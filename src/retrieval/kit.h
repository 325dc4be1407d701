#pragma once

#include <QByteArray>
#include <QString>

struct RunContext;
class WebControl;

// What every retriever shares: requests, files, addresses on host roles and the closing
// step. A retriever spells out its own rules; what is the same for all of them is here.

inline const QString kDesktopTitle = QStringLiteral("Bright Quill - Desktop edition");

// The answer of a request as text (one character per byte), "" when nothing came back.
QString fetch_text(WebControl& inet, const QString& url);
// The answer of a request as bytes, empty when nothing came back.
QByteArray fetch_bytes(WebControl& inet, const QString& url);

// Writes the bytes under path, replacing what stood there; the file appears under its
// name only complete. False when it could not be written.
bool save_bytes(const QString& path, const QByteArray& bytes);

// Whether a number can name a document file of its own in a folder: it holds no "/" and no
// "\". The list cleaning takes both out of every number of an order; the test keeps a number
// from elsewhere from naming a file outside the folder.
bool names_a_file(const QString& number);

// The characters of a downloaded file that the HTML test looks at: its first 300, or all
// but the last when the file is 300 bytes long or shorter.
QString html_test_text(const QString& path);

// True when text holds "<HTML>" in any case.
bool holds_html(const QString& text);

// The first character of a setting is "1".
bool setting_on(const QString& name, const QString& defaultValue);

// The host of a role: the user's settings, the machine's, then the built-in default of the
// office that owns the role (or of the company's and Espacenet's roles).
QString role_host(const QString& role);
// An address on a role: "http://" + the proxy prefix + the role's host + path and query.
QString role_url(const QString& prefix, const QString& role, const QString& pathAndQuery);

// Whether the first page of a file can be copied, tried into a scratch file that is
// deleted again. The probe of every retriever that tests a download as a PDF.
bool first_page_copies(const QString& file, const QString& scratch);

// A converter program of the company's ("uspto.lib", "cnpto.lib") in the application folder,
// fetched from the company's web host, then its mirror, when it is not there yet (with the
// status text shown before each fetch). The file's existence is what counts: a failed first
// fetch that still left a file means that the mirror is not asked. Returns its path.
QString ensure_converter(RunContext& ctx, const QString& prefix, const QString& name,
                         const QString& status);

// The result word of a delivered document: "Downloaded (" + its page count + " )".
QString downloaded_word(const QString& file);
// The result word of an office that judges its file by size alone, fetched or cached: a file
// shorter than smallest is no document, is deleted, and "Download error (number)" replaces
// any earlier word; otherwise the earlier word stands, or the downloaded word when there is
// none.
QString sized_document_word(const QString& file, const QString& number, qint64 smallest,
                            const QString& result);

// The closing step of a retriever: "Job cancelled" when the order was cancelled, otherwise
// the log line (when log is set); then the window title goes back to the desktop title.
void close_retriever(RunContext& ctx, const QString& number, const QString& reference,
                     const QString& result, bool log = true);
