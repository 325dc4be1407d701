#pragma once

#include <QString>

#include <array>

struct RunContext;

// A Canadian document from CIPO: the summary page tells which of up to five section PDFs
// the office holds; they are fetched and joined into one PDF. With the fp box ticked only
// the cover page is fetched, into the "FP_" name, and number comes back with "FP_" in front.
void canada_download(RunContext& ctx, QString& number, const QString& reference);

// The sections, in the order of fetching and of joining.
enum CanadaSection { CoverPage, Abstract, Claims, Description, Drawings, kCanadaSections };

// The number as the office writes it: without country code and without any "C", so that a
// kind "C" goes and any other kind letter stays.
QString canada_plain_number(const QString& number);
// The summary page of a plain number on CipoHost.
QString canada_summary_path(const QString& plain);

// What the summary page tells: the sections it links (a document without a cover page
// counts as missing), and the stem of the section files: plain number + "_" + the token
// that stands behind the first link to "page/" + plain number + "_".
struct CanadaSummary {
    std::array<bool, kCanadaSections> sections{};
    QString token;
    QString stem;
    bool found() const { return sections[CoverPage]; }
};
CanadaSummary read_canada_summary(const QString& page, const QString& plain);

// A section file of a document on CipoHost.
QString canada_section_path(const QString& plain, const QString& stem, CanadaSection section);
