#pragma once

#include <QString>
#include <cstdint>

// The page-copying library: a document writer with three operations. A handle lives from
// PDocNew to PDocRelease inside one procedure. No exception ever leaves these functions.
//
// The file that PDocRelease writes is read again as plain text by the page count and the
// bookmark rewrite, so its layout is fixed: a classic xref table and a trailer with /Size
// and /Root on lines of their own; CR LF line ends, with CR LF before every "N 0 obj";
// "/Type /Catalog" on a line of its own between CR LF; "/Type /Page" at the start of a line
// in every page object and no line beginning "/Type /Pages"; no object streams; objects
// numbered 1 to /Size - 1 without gaps.

// Starts an empty output document to be stored at target. a and b are always 0.
int32_t PDocNew(int32_t a, int32_t b, const QString& target);
// Appends pages first..last of source (last -1: through the last page). Non-zero when the
// pages were copied. A source that is no readable PDF gives 0 and leaves the output as it
// was. Everything needed of the source is taken during the call: it may be deleted before
// PDocRelease.
int16_t PDocMerge(int32_t handle, const QString& source, int32_t first, int32_t last);
// Writes the output to its target and frees the handle. Called once for every PDocNew.
void PDocRelease(int32_t handle);

// Stores the first page of origPDF as a new file TargetFP.
void pdf2fp(const QString& origPDF, const QString& TargetFP);
// True when the first page of the file can be copied.
bool checkpdf(const QString& pdf_to_check);
// Joins Pdfs_Source_Path + i + ".pdf" for i = 0 .. count + 1, those that exist, into
// Pdf_Merge_Save_As, deleting each part after its merge. The last two arguments are
// passed by every caller and not used.
void merge_Espace_pdf(const QString& Pdf_Merge_Save_As, const QString& Pdfs_Source_Path,
                      int32_t PDF_Number_Of_pages, int PdfBookmarksInfo = 0,
                      const QString& PDF_doc_Title = QString());
