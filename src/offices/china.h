#pragma once

#include <QString>

#include <optional>

struct RunContext;

// A Chinese document from SIPO: the search page tells the directory of the document's page
// images, each page comes as a TIFF through the company's relay, is rewritten by cnpto.lib
// and made a one-page PDF by uspto.lib, and the pages are joined under the number. Every
// failure hands the number to the retrieval chain, which then decides and logs.
void cnpto_download(RunContext& ctx, QString& number, const QString& reference);

// The readers of SIPO's pages and the addresses asked, apart from the fetching.

// The search for a number ("CN1145230B"): by publication, query key "b", when the number
// ends in C, B, Y, U or T; otherwise by application, key "c". The search number is the
// number without its country code, with every A, B, C, T, Y and U removed wherever they
// stand (a kind digit stays).
struct SipoSearch {
    bool publication = false;
    QString searchNumber;
    QString pathAndQuery;
};
SipoSearch sipo_search(const QString& number);

// What the search page's script assignments tell. A value whose marker or closing quote is
// missing is empty.
struct SipoRecord {
    bool found = false; // the page holds "seg3[0]='"
    QString pageCount;  // seg3[0], all blanks removed
    QString dirno;      // seg1[0], all blanks removed
    QString express;    // ccm_express, trimmed
    QString libname;    // ccm_libname, trimmed
    QString fileno;     // ccm_fileno[0], trimmed
};
SipoRecord read_sipo_record(const QString& page);

// The page-count request, which echoes the record and its count text.
QString sipo_page_count_query(const SipoRecord& record);
// The count text of the page-count answer: behind "ccm_pagenum=", at most 300 characters,
// cut at the first ";", trimmed. Nothing when the answer has no such value.
std::optional<QString> read_sipo_page_count(const QString& answer);
// A count text as a page count: a whole number above 0 that a 32-bit counter holds.
std::optional<int> sipo_count(const QString& text);

// The relay's address of one page image: the first five characters of the directory
// number, the number itself and the page.
QString sipo_relay_path(const QString& dirno, qint64 page);

// A converted page passes when the file begins with the little-endian TIFF signature "II*"
// and is at least 150 bytes long.
bool sipo_page_good(const QString& path);
