#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf/skeleton_writer.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <optional>

#include <csignal>
#include <unistd.h>

namespace {

constexpr int kDefaultWidth = 2320;
constexpr int kDefaultHeight = 3408;

// The byte at a 1-based position; absent bytes read as nothing.
std::optional<int> byteAt(const QByteArray& data, qsizetype position) {
    if (position < 1 || position > data.size())
        return std::nullopt;
    return static_cast<unsigned char>(data[position - 1]);
}

// A 16-bit value from the bytes at position (low) and position + 1 (high), read as signed.
std::optional<int> signed16At(const QByteArray& data, qsizetype position) {
    const auto low = byteAt(data, position);
    const auto high = byteAt(data, position + 1);
    if (!low || !high)
        return std::nullopt;
    return static_cast<int16_t>(static_cast<uint16_t>(*low | (*high << 8)));
}

// Runs a converter and waits for it, without a time limit when timeLimit is 0 or less. The
// command line is split as a shell splits words, double quotes grouping. A program path that
// exists as it stands is taken whole even when it holds blanks, as the system's program
// locator would. A program still running after timeLimit seconds is ended with everything it
// started, and its output, which may be half-written, is deleted.
void runConverter(Host& host, const QString& program, const QString& arguments, int timeLimit,
                  const QString& output) {
    QStringList words;
    QString executable;
    if (!program.isEmpty() && QFileInfo(program).isFile()) {
        executable = program;
        words = QProcess::splitCommand(arguments);
    } else {
        words = QProcess::splitCommand(program + arguments);
        if (words.isEmpty())
            return;
        executable = words.takeFirst();
    }
    const int wait = timeLimit > 0 ? timeLimit * 1000 : -1;
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setStandardInputFile(QProcess::nullDevice());
    // A group of its own, so that a converter that hangs is ended together with its children.
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
    process.start(executable, words, QIODevice::NotOpen);
    if (!process.waitForStarted(wait))
        return;
    host.doEvents();
    if (process.state() == QProcess::NotRunning || process.waitForFinished(wait) ||
        process.state() == QProcess::NotRunning)
        return;
    ::kill(-pid_t(process.processId()), SIGKILL);
    process.kill();
    process.waitForFinished(5000);
    QFile::remove(output);
}

} // namespace

void tif_to_pdf(Host& host, const QString& Tif_To_Pdf_As, const QString& Tif_Source_Path) {
    try {
        const QString temp = Tif_To_Pdf_As + QStringLiteral(".tmp");
        QFile::remove(temp);
        QFile::remove(Tif_To_Pdf_As);

        QByteArray tiff;
        QFile source(Tif_Source_Path);
        if (source.open(QIODevice::ReadOnly))
            tiff = source.readAll();
        source.close();

        int width = kDefaultWidth;
        int height = kDefaultHeight;
        // 25 directory slots of 12 bytes from byte 11 (1-based): the tag's two bytes are
        // summed with the high byte times 255, not 256, so 256 means ImageLength and 255
        // ImageWidth. Slots whose bytes lie past the end of the file change nothing.
        for (qsizetype p = 11; p <= 299; p += 12) {
            const auto low = byteAt(tiff, p);
            const auto high = byteAt(tiff, p + 1);
            if (!low || !high)
                continue;
            const int key = *high * 255 + *low;
            const auto value = signed16At(tiff, p + 8);
            if (!value)
                continue;
            if (key == 256)
                height = *value;
            else if (key == 255)
                width = *value;
        }
        if (height > 5000 || height < 50)
            height = kDefaultHeight;
        if (width > 5000 || width < 50)
            width = kDefaultWidth;

        // The first StripOffsets tag bytes (17, 1) anywhere; its offset's high byte is again
        // weighed 255, which gives the true start only for offsets from 256 to 511.
        const qsizetype tag = tiff.indexOf(QByteArrayView("\x11\x01", 2)) + 1; // 0: not found
        const int low = byteAt(tiff, tag + 8).value_or(0);
        const int high = byteAt(tiff, tag + 9).value_or(0);
        const qsizetype start = qsizetype{high} * 255 + low + 2;
        const QByteArray image = start - 1 < tiff.size() ? tiff.mid(start - 1) : QByteArray();
        tiff.clear();

        bq::pdf::SkeletonWriter pdf(temp);
        pdf.line("%PDF-1.1");
        pdf.line(QByteArray("%\xD4\xD2\xA4\xCB"));
        pdf.object(1, {"<<", "/CreationDate (D:20010802093604)", "/Producer (EPO)", "/Author (EPO)",
                       "/Creator (Convert v3.6)", "/Title (USA1 4500892)", ">>"});
        pdf.object(2, {"[ /PDF /ImageB ]"});
        pdf.object(3, {"<<", "/Type /Catalog", "/Pages 4 0 R", ">>"});
        pdf.object(4, {"<<", "/Type /Pages", "/MediaBox [ 0 0  556  818 ]", "/Count 1",
                       "/Kids [5 0 R]", ">>"});
        pdf.object(5, {"<<", "/Type /Page", "/Parent 4 0 R",
                       "/Resources << /XObject << /im1 7 0 R >> /ProcSet 2 0 R >>",
                       "/Contents [ 6 0 R ]", ">>"});
        pdf.object(6, {"<< /Length 26 >>", "stream", "556 0 0 818 0 0 cm", "/im1 Do", "endstream"});
        host.doEvents();
        host.doEvents();
        const QByteArray w = QByteArray::number(width);
        pdf.object(7,
                   {"<<", "/Type /XObject", "/Subtype /Image",
                    "/Length " + QByteArray::number(image.size()), "/Name /im1",
                    "/Filter [ /CCITTFaxDecode ]", "/Width " + w,
                    "/Height " + QByteArray::number(height), "/BitsPerComponent 1",
                    "/ImageMask true", "/DecodeParms [ << /K -1 /Columns " + w + " >> ]", ">>",
                    "stream"},
                   &image);
        pdf.flushIfLarge();
        pdf.finish([&host] {
            host.doEvents();
            host.doEvents();
        });
        if (pdf.ok())
            QFile::rename(temp, Tif_To_Pdf_As);
        else
            QFile::remove(temp);
    } catch (...) {
    }
}

void tif2pdf(Host& host, const QString& Tif_To_Pdf_As, const QString& Tif_Source_Path,
             const QString& program_name, int time_limit) {
    try {
        // The two paths are not quoted: a path with blanks reaches the program in pieces.
        runConverter(host, program_name,
                     QStringLiteral(" -o ") + Tif_To_Pdf_As + QLatin1Char(' ') + Tif_Source_Path,
                     time_limit, Tif_To_Pdf_As);
    } catch (...) {
    }
}

void CNtif(Host& host, const QString& Tif_output, const QString& Tif_Source_Path,
           const QString& program_name, int time_limit) {
    try {
        runConverter(host, program_name,
                     QStringLiteral(" -r 10000 -c g4 \"") + Tif_Source_Path +
                         QStringLiteral("\" \"") + Tif_output + QLatin1Char('"'),
                     time_limit, Tif_output);
    } catch (...) {
    }
}
