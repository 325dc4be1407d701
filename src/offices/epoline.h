#pragma once

#include <QByteArray>
#include <QString>

struct RunContext;

// A European patent's whole public file (the dossier) as one PDF from the EPO's online file
// inspection. "FW" + an application number or "PW" + a publication number; the file keeps
// the prefix in its name.
void epoline_download(RunContext& ctx, QString& number, const QString& reference);

// The readers of the file inspection's pages, apart from the fetching.

// The number behind its two-character prefix, trimmed: the key of both requests.
QString epoline_key(const QString& number);
// The dossier page's path and query: "FW" asks by application number, anything else by
// publication number.
QString epoline_dossier_path(const QString& number);
// The whole book of the dossier. Always asked by "dosnum", whatever the prefix; the
// selection ticks one box ahead of the page's boxes and one behind them.
QString epoline_book_path(const QString& key, const QString& selection);

// What the dossier page tells: one "1" for each piece that the page splits into at every
// tick box's script call, the pages of all documents, and an estimate of the book's size in
// kilobytes (37.8 a page, truncated).
struct EpolineDossier {
    QString selection;
    qint64 pages = 0;
    qint64 estimate = 0;
};
EpolineDossier read_epoline_dossier(const QString& page);
// Whether the dossier page is the one of that key: the key in it, in any case.
bool epoline_page_found(const QString& page, const QString& key);
// Whether a downloaded book is kept: 1000 characters or more, and no "<HTML>" in any case.
bool epoline_book_is_document(const QByteArray& book);
