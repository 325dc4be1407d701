#pragma once

#include <QString>

class Host;

// "N Pages", or the length in megabytes with two decimals and " MB". An absent file is
// created empty and told as "0.00 MB".
QString pdfnumpages(const QString& F_pdf_File);

// Rewrites the PDF in place with an outline built from the bookmark string
// ("page:title,page:title") and a document information object. Shows a status while it
// works and restores the old one. On any error the file stays exactly as it was.
void AddBookmark(Host& host, const QString& Book_input_file, const QString& Book_output_PN,
                 const QString& Bookmark_string);
