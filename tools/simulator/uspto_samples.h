#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Sample documents of the simulated USPTO. A document NUMBER ("US5123456", "USD339456",
// "US20010000044") is a set of files in one folder:
//   NUMBER.pdf          the whole document, as the PDF image servers give it
//   NUMBER.p<n>.tif     its page n, as the page-image viewer gives it
//   NUMBER.cc<n>.tif    the n-th page of its certificates of correction (viewer only)

// One page as the viewer serves it: a single-strip CCITT Group 4 TIFF, little-endian, its
// first directory at byte 8 and its strip at byte 300. `mark` tells pages apart (a row of
// that many blocks); a certificate page carries a framed box. The image is compressed with
// tiffcp; without tiffcp the answer is empty.
QByteArray uspto_sample_tiff(int mark, bool certificate);

// Makes the sample set below folder where a document's PDF is missing: US patents of every
// form, one with two certificate pages, one published application. False when the pages
// could not be made (no tiffcp).
bool uspto_ensure_samples(const QString& folder);

// The documents of a folder, by number, in file-name order.
QStringList uspto_sample_numbers(const QString& folder);
