#pragma once

#include <QString>

// How the USPTO's servers name a US document: the image server's address of a number and the
// full-text search that finds its viewer.

// Where a document lies on the PDF image servers.
struct UsptoPdfAddress {
    bool application = false; // on UsptoPdfApplicationHost; otherwise UsptoPdfPatentHost
    QString rewritten;        // the number in the image server's form ("05123456")
    QString path;             // "/fdd/56/234/051/0.pdf"
};

// The image server address of a number, from the number alone. The removals run in a fixed
// order: blanks and separators, "US", then "A"/"B" followed by a digit, then every "A" and
// "B". Anything left longer than 9 characters is a published application; otherwise the
// table of granted forms pads the digits.
UsptoPdfAddress uspto_pdf_address(const QString& number);

// The full-text search that finds a number's viewer link.
struct UsptoTextQuery {
    bool application = false; // on UsptoApplicationTextHost; otherwise UsptoPatentTextHost
    QString plain;            // the number as searched: no country code, no leading "A"
    QString pathAndQuery;     // "/netacgi/nph-Parser?..."
};

// number: upper-cased and without "-".
UsptoTextQuery uspto_text_query(const QString& number);
