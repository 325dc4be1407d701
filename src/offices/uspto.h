#pragma once

#include <QString>

struct RunContext;

// A US document as one whole PDF from the USPTO's image servers.
void uspto_download(RunContext& ctx, QString& number, const QString& reference);

// The certificates of correction of a US patent: the pages the USPTO's viewer holds beyond
// cartificate_LastPage, as one PDF in the PDFDIR folder. Returns its path, or "" when there
// is none or anything failed. The caller owns the file and deletes it.
QString uspto_cartificate(RunContext& ctx, const QString& cartificate_PN, int cartificate_LastPage);
