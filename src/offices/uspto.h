#pragma once

#include <QString>

#include <optional>

struct RunContext;

// A US document as one whole PDF from the USPTO's image servers.
void uspto_download(RunContext& ctx, QString& number, const QString& reference);

// The certificates of correction of a US patent: the pages the USPTO's viewer holds beyond
// cartificate_LastPage, as one PDF in the PDFDIR folder. Returns its path, or "" when there
// is none or anything failed. The caller owns the file and deletes it.
QString uspto_cartificate(RunContext& ctx, const QString& cartificate_PN, int cartificate_LastPage);

// The readers of the USPTO's pages, apart from the fetching.

// The viewer host that the full-text page links to, among the configured viewer hosts: the
// page names the host in its own link, and the last row that matches wins.
QString uspto_viewer_host(const QString& page);
// The link behind the viewer marker, up to its closing ">" (".aiw?" wins over ".piw?").
QString uspto_viewer_link(const QString& page);

// The viewer page: the document id and the key that the image requests carry, and the
// count of all page images ("NumPages=", up to the next "-" within 20 characters).
struct UsptoViewer {
    QString docid;
    QString key;
    bool counted = false;     // the page holds "NumPages="
    std::optional<int> pages; // the count, when it reads as one
};
UsptoViewer read_uspto_viewer(const QString& page);
