#pragma once

#include <QByteArray>
#include <QString>

#include <string>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

class Simulator;

// The sample documents of the simulator and the ways its roles answer with them.
//
// A source keeps its documents in a folder of the samples folder ("cache", "lookup", "wo",
// "frb", "espacenet"), one PDF per document, named after the number; a kind code in the
// name is optional. A "<name>.bookmarks" file beside a document holds its bookmark string.
// Pages are cut out of a document on first use into ".pages/<source>/<name>/<n>.pdf".
namespace sim {

// The form of a number that the documents are matched by: upper case, letters and digits
// only, the kind code taken off, a two-digit WO year made four digits with a six-digit
// serial, the zeros behind "EP" dropped.
QString match_key(const QString& number);

// The document of a source that answers to the number: its path, "" if there is none.
QString find_document(const QString& samples, const QString& source, const QString& number);
// The document's name without folder and ".pdf".
QString document_name(const QString& path);
// The bookmark string kept beside a document, "" if none.
QString document_bookmarks(const QString& path);
// Pages of a document, 0 when it can't be read.
int page_count(const QString& samples, const QString& source, const QString& path);
// The one-page PDF of page n of a document, "" when there is no such page.
QString page_file(const QString& samples, const QString& source, const QString& path, long long n);

// Writes a document into a source folder unless it is there already.
void ensure_sample(const QString& samples, const QString& source, const QString& name, int pages,
                   const QString& bookmarks = QString(), int imageBytes = 6000);

// A query value, the key matched in any case.
std::string param(const httplib::Request& req, const std::string& key);
QString qparam(const httplib::Request& req, const std::string& key);

void answer_text(httplib::Response& res, const QString& text);
void answer_html_error(httplib::Response& res);
void answer_file(httplib::Response& res, const QString& path);
// Announces a body and closes the connection without sending it.
void answer_drop(httplib::Response& res);
// A page request that the options tell to fail: answered as an error page or a dropped
// connection. True when it failed.
bool page_fails(Simulator& sim, httplib::Response& res, const std::string& key);

} // namespace sim
