#include "pdf/canada_assembly.h"

#include "pdf/skeleton_writer.h"

#include <QFile>

#include <algorithm>
#include <optional>

namespace {

struct Section {
    const char* ending;
    const char* title;
};

// The order of work; it differs from the order in which the sections are joined elsewhere.
constexpr Section kSections[] = {{"_cov", "Cover Page"},
                                 {"_abs", "Abstract"},
                                 {"_dis", "Disclosures"},
                                 {"_clm", "Claims"},
                                 {"_drw", "Drawings"}};

const QByteArray kMarker = "/DecodeParms << /K -1 /Columns ";

// Text positions are 1-based, 0 meaning "not found". A start below 1 is an error: the
// statement that asked is skipped (nullopt).
std::optional<qsizetype> find(const QByteArray& data, qsizetype start, const QByteArray& what) {
    if (start < 1)
        return std::nullopt;
    if (start > data.size())
        return 0;
    return data.indexOf(what, start - 1) + 1;
}

// Four characters (fewer at the end of the text) from a 1-based position.
QByteArray four(const QByteArray& data, qsizetype position) {
    return position - 1 < data.size() ? data.mid(position - 1, 4) : QByteArray();
}

void writePage(const QString& path, const QByteArray& width, const QByteArray& height,
               const QByteArray& image) {
    const QString temp = path + QStringLiteral(".tmp");
    bq::pdf::SkeletonWriter pdf(temp);
    pdf.line("%PDF-1.1");
    pdf.line(QByteArray("%\xBA\xBE\xFA\xCE"));
    pdf.object(1, {"<<", "/CreationDate (D:20010802093604)", "/Producer (Tarnwell)",
                   "/Author (EPO)", "/Creator (Convert v3.6)", "/Title (Patent document)", ">>"});
    pdf.object(2, {"/PDF /ImageB"}); // no brackets, as the documents have always had it
    pdf.object(3, {"<<", "/Type /Catalog", "/Pages 4 0 R", ">>"});
    pdf.object(4, {"<<", "/Type /Pages", "/MediaBox [ 0 0  556  818 ]", "/Count 1", "/Kids [5 0 R]",
                   ">>"});
    pdf.object(5, {"<<", "/Type /Page", "/Parent 4 0 R",
                   "/Resources << /XObject << /Im1 7 0 R >> /ProcSet 2 0 R >>",
                   "/Contents [ 6 0 R ]", ">>"});
    // The image is scaled to 591 by 778 on a page of 556 by 818, by design.
    pdf.object(6, {"<< /Length  159>>", "stream", "%place page marking operators here",
                   "q      % Save state",
                   "   591 0 0    778 0.0 0.0 cm  % xscale,?, ?,yscale, xoffset, yoffset "
                   "(MediaBox units(points))",
                   "/Im1 Do", "Q", "endstream"});
    pdf.object(7,
               {"<<", "/Type /XObject /Subtype /Image /Name /Im1", "/ColorSpace /DeviceGray",
                "/Width " + width + " /Height " + height + " /BitsPerComponent 1",
                "/Filter /CCITTFaxDecode ", "/DecodeParms << /K -1 /Columns " + width + " >>",
                "/Length " + QByteArray::number(image.size()) + " >>", "stream"},
               &image);
    pdf.flushIfLarge();
    pdf.finish({});
    if (pdf.ok()) {
        QFile::remove(path);
        QFile::rename(temp, path);
    } else {
        QFile::remove(temp);
    }
}

} // namespace

void can_to_pdf(const QString& Can_To_Pdf_As, const QString& Can_Source_Path, int32_t& Can_pages,
                QString& Can_desc) {
    try {
        QFile::remove(Can_To_Pdf_As + QStringLiteral(".tmp"));
        QFile::remove(Can_To_Pdf_As);
        int64_t n = 0;
        bool firstOfSection = true;
        QByteArray width;
        QByteArray height;

        for (const Section& section : kSections) {
            const QString sourcePath =
                Can_Source_Path + QLatin1String(section.ending) + QStringLiteral(".pdf");
            QFile source(sourcePath);
            if (!source.exists() || !source.open(QIODevice::ReadOnly))
                continue;
            const QByteArray data = source.readAll();
            source.close();
            const bool hasMarker = data.contains(kMarker);
            qsizetype searchAt = 1;
            qsizetype copyAt = 1;

            for (;;) {
                if (hasMarker) {
                    Can_pages = static_cast<int32_t>(n + 1);
                    if (auto at = find(data, searchAt, "/Type /XObject"))
                        searchAt = *at;
                    if (data.contains("/Width")) {
                        if (auto w = find(data, searchAt, "/Width")) {
                            width = four(data, *w + 7);
                            if (auto h = find(data, *w, "/Height"))
                                height = four(data, *h + 8);
                        }
                    }
                    searchAt += 200;
                    if (firstOfSection) {
                        if (!Can_desc.isEmpty())
                            Can_desc += QLatin1Char(',');
                        Can_desc += QString::number(n + 1) + QLatin1Char(':') +
                                    QLatin1String(section.title);
                        firstOfSection = false;
                    }

                    // The image runs from right behind "stream" (its line end included) to
                    // the character before the one that precedes "endstream". Where the
                    // words cannot be followed, the rest of the file ends the section.
                    QByteArray image;
                    const qsizetype marker = find(data, copyAt, kMarker).value_or(0);
                    const qsizetype stream =
                        marker > 0 ? find(data, marker, "stream").value_or(0) : 0;
                    if (stream > 0) {
                        const qsizetype begin = stream + 6;
                        const qsizetype end = find(data, stream, "endstream").value_or(0);
                        if (end > 0) {
                            image = data.mid(begin - 1, std::max<qsizetype>(0, end - 1 - begin));
                            copyAt = end + 9;
                        } else {
                            image = data.mid(begin - 1);
                            copyAt = data.size() + 1;
                        }
                    } else {
                        copyAt = data.size() + 1;
                    }
                    writePage(Can_To_Pdf_As + QLatin1Char('_') + QString::number(n) +
                                  QStringLiteral(".pdf"),
                              width, height, image);
                }
                const qsizetype nextMarker = find(data, copyAt, kMarker).value_or(0);
                ++n; // also after a pass that found no marker
                if (nextMarker <= 1)
                    break;
            }
            firstOfSection = true;
        }
    } catch (...) {
    }
}
