#include "pdf_test_util.h"

#include "test_env.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <cstdlib>

namespace pdftest {

QString freshDir(const QString& name) {
    static int serial = 0;
    const QString path =
        test_root() + QStringLiteral("/t%1-%2").arg(++serial).arg(QString(name).replace('/', '_'));
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    return path;
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& data) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(data);
}

RunResult run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    RunResult result;
    if (!process.waitForStarted(-1))
        return result;
    process.waitForFinished(-1);
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    if (process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    return result;
}

QString corpusDir(const QString& sub) {
    const QString path = QStringLiteral(BQ_SHARED_DIR "/corpus/") + sub;
    return QFileInfo(path).isDir() ? QDir(path).absolutePath() : QString();
}

QByteArray makePdf(const QStringList& ids, const QByteArray& extraContent,
                   const QByteArray& extraEntries) {
    QByteArray out = "%PDF-1.4\n";
    QList<qsizetype> offsets;
    auto object = [&](const QByteArray& body) {
        offsets.append(out.size());
        out += QByteArray::number(offsets.size()) + " 0 obj\n" + body + "\nendobj\n";
    };
    const int n = static_cast<int>(ids.size());
    QByteArray kids;
    for (int i = 0; i < n; ++i)
        kids += QByteArray::number(3 + 2 * i) + " 0 R ";
    object("<< /Type /Catalog /Pages 2 0 R >>");
    object("<< /Type /Pages /Kids [" + kids + "] /Count " + QByteArray::number(n) +
           " /MediaBox [0 0 200 200] >>");
    for (int i = 0; i < n; ++i) {
        const int h = static_cast<int>(qHash(ids[i]) % 150);
        const QByteArray content = "% id:" + ids[i].toLatin1() + "\n0 0 0 rg " +
                                   QByteArray::number(10 + h / 3) + " " + QByteArray::number(h) +
                                   " 40 40 re f\n" + extraContent;
        object("<< /Type /Page /Parent 2 0 R /Contents " + QByteArray::number(4 + 2 * i) + " 0 R " +
               extraEntries + " >>");
        object("<< /Length " + QByteArray::number(content.size()) + " >>\nstream\n" + content +
               "endstream");
    }
    const qsizetype xref = out.size();
    out += "xref\n0 " + QByteArray::number(offsets.size() + 1) + "\n0000000000 65535 f \n";
    for (qsizetype offset : offsets)
        out += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    out += "trailer\n<< /Size " + QByteArray::number(offsets.size() + 1) +
           " /Root 1 0 R >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    return out;
}

QStringList pageIds(const QByteArray& pdf) {
    QStringList ids;
    for (qsizetype at = pdf.indexOf("% id:"); at >= 0; at = pdf.indexOf("% id:", at + 1)) {
        const qsizetype end = pdf.indexOf('\n', at);
        ids.append(QString::fromLatin1(pdf.mid(at + 5, end - at - 5)));
    }
    return ids;
}

QByteArray crSkeleton(const QByteArray& marker, const std::vector<QList<QByteArray>>& objects,
                      const QByteArray& image, QList<qsizetype>* offsets) {
    QByteArray out = "%PDF-1.1\r%" + marker + "\r";
    QList<qsizetype> at;
    for (size_t i = 0; i < objects.size(); ++i) {
        at << out.size();
        out += QByteArray::number(static_cast<int>(i) + 1) + " 0 obj\r";
        for (const QByteArray& line : objects[i])
            out += line + '\r';
        if (i == 6)
            out += image + "\rendstream\r";
        out += "endobj\r";
    }
    const qsizetype xref = out.size();
    out += "xref\r0 8\r0000000000 65535 f \r";
    for (qsizetype offset : at)
        out += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \r";
    out += "trailer\r<</Size 8\r/Info 1 0 R\r/Root 3 0 R\r>>\rstartxref\r" +
           QByteArray::number(xref) + "\r%%EOF\r";
    if (offsets)
        *offsets = at;
    return out;
}

QByteArray makeTiff(const std::vector<TiffEntry>& entries, qsizetype stripAt,
                    const QByteArray& strip) {
    QByteArray t(std::max<qsizetype>(stripAt, 14 + 12 * static_cast<qsizetype>(entries.size())),
                 '\0');
    auto put = [&](qsizetype at, uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i)
            t[at + i] = static_cast<char>((v >> (8 * i)) & 255);
    };
    t.replace(0, 4, QByteArray("II*\0", 4));
    put(4, 8, 4);
    put(8, static_cast<uint32_t>(entries.size()), 2);
    for (size_t i = 0; i < entries.size(); ++i) {
        const qsizetype at = 10 + 12 * static_cast<qsizetype>(i);
        put(at, entries[i].tag, 2);
        put(at + 2, entries[i].type, 2);
        put(at + 4, 1, 4);
        put(at + 8, entries[i].value, entries[i].type == 3 ? 2 : 4);
    }
    return t.left(stripAt) + strip;
}

std::vector<TiffEntry> g4Entries(uint32_t width, uint32_t height, uint32_t stripAt,
                                 uint32_t bytes) {
    return {{256, 3, width},   {257, 3, height}, {258, 3, 1},      {259, 3, 4},    {262, 3, 0},
            {273, 4, stripAt}, {277, 3, 1},      {278, 4, height}, {279, 4, bytes}};
}

QStringList layoutProblems(const QByteArray& pdf) {
    QStringList problems;
    const qsizetype xref = pdf.indexOf("xref");
    if (xref < 0 || pdf.mid(xref - 2, 8) != "\r\nxref\r\n")
        return {QStringLiteral("no classic xref table after CR LF as the first \"xref\"")};
    const QByteArray objects = pdf.left(xref);
    const QByteArray tail = pdf.mid(xref);
    if (!tail.contains("\r\ntrailer\r\n"))
        problems << QStringLiteral("no trailer line");
    static const QRegularExpression sizeLine(QStringLiteral("\r\n/Size (\\d+)\r\n"));
    const auto size = sizeLine.match(QString::fromLatin1(tail));
    if (!size.hasMatch())
        problems << QStringLiteral("/Size not on a line of its own");
    if (!tail.contains("\r\n/Root "))
        problems << QStringLiteral("/Root not on a line of its own");
    if (objects.contains("/ObjStm") || objects.contains("/XRef"))
        problems << QStringLiteral("object or xref streams used");
    if (!objects.contains("\r\n/Type /Catalog\r\n"))
        problems << QStringLiteral("/Type /Catalog not on a line of its own");

    // Outside stream data: no bare CR or LF, every line ends in CR LF.
    QByteArray text;
    qsizetype at = 0;
    while (at < objects.size()) {
        const qsizetype stream = objects.indexOf("\r\nstream\r\n", at);
        const qsizetype stop = stream < 0 ? objects.size() : stream + 10;
        text += objects.mid(at, stop - at);
        if (stream < 0)
            break;
        const qsizetype end = objects.indexOf("\r\nendstream\r\n", stop);
        at = end < 0 ? objects.size() : end;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool cr = text[i] == '\r';
        const bool lf = text[i] == '\n';
        if ((cr && (i + 1 >= text.size() || text[i + 1] != '\n')) ||
            (lf && (i == 0 || text[i - 1] != '\r'))) {
            problems << QStringLiteral("bare line end at %1 outside streams").arg(i);
            break;
        }
    }
    if (!objects.endsWith("\r\n"))
        problems << QStringLiteral("the line before xref does not end in CR LF");

    // Every object opens after CR LF, numbered 1 .. /Size - 1 without gaps, each once.
    const int count = size.hasMatch() ? size.captured(1).toInt() : 0;
    QList<int> seen(count + 1, 0);
    static const QRegularExpression anyObject(QStringLiteral("(\\r\\n)?(\\d+) 0 obj\\r\\n"));
    QRegularExpressionMatchIterator it = anyObject.globalMatch(QString::fromLatin1(text));
    while (it.hasNext()) {
        const auto m = it.next();
        const int number = m.captured(2).toInt();
        if (m.captured(1).isEmpty())
            problems << QStringLiteral("object %1 does not follow CR LF").arg(number);
        if (number < 1 || number >= count)
            problems << QStringLiteral("object %1 outside 1 .. /Size - 1").arg(number);
        else
            ++seen[number];
    }
    for (int n = 1; n < count; ++n)
        if (seen[n] != 1)
            problems << QStringLiteral("object %1 appears %2 times").arg(n).arg(seen[n]);

    // Page objects: "/Type /Page" starts a line; no line starts "/Type /Pages".
    if (text.contains("\n/Type /Pages"))
        problems << QStringLiteral("a line starts with /Type /Pages");
    return problems;
}

int qpdfPageCount(const QString& path) {
    // The pages as found in the page tree, not the tree's own /Count.
    const RunResult r = run(QStringLiteral("qpdf"), {QStringLiteral("--show-pages"), path});
    if (r.exitCode != 0 && r.exitCode != 3)
        return -1;
    int pages = 0;
    for (const QByteArray& line : r.out.split('\n'))
        pages += line.startsWith("page ") ? 1 : 0;
    return pages;
}

namespace {

// A binary PGM as pdftoppm writes it: "P5\n<width> <height>\n255\n" and the pixels.
Gray readPgm(const QByteArray& data) {
    Gray image;
    const QList<QByteArray> head = data.left(64).split('\n');
    const QList<QByteArray> size = head.value(1).split(' ');
    if (head.size() < 4 || head[0] != "P5" || size.size() != 2)
        return image;
    image.width = size[0].toInt();
    image.height = size[1].toInt();
    const qsizetype start = head[0].size() + head[1].size() + head[2].size() + 3;
    image.pixels = data.mid(start, qsizetype{image.width} * image.height);
    return image;
}

} // namespace

std::vector<Gray> render(const QString& pdf, int first, int last, int dpi, int width, int height) {
    const QString dir = freshDir(QStringLiteral("render"));
    QStringList args = {QStringLiteral("-gray"), QStringLiteral("-f"), QString::number(first),
                        QStringLiteral("-l"), QString::number(last)};
    if (width > 0 && height > 0)
        args << QStringLiteral("-scale-to-x") << QString::number(width)
             << QStringLiteral("-scale-to-y") << QString::number(height);
    else
        args << QStringLiteral("-r") << QString::number(dpi);
    args << pdf << dir + QStringLiteral("/p");
    run(QStringLiteral("pdftoppm"), args);
    std::vector<Gray> pages;
    QStringList files = QDir(dir).entryList({QStringLiteral("p-*.pgm")}, QDir::Files, QDir::Name);
    // pdftoppm pads page numbers to the same width, so the names sort in page order.
    for (const QString& f : files)
        pages.push_back(readPgm(readFile(dir + QLatin1Char('/') + f)));
    QDir(dir).removeRecursively();
    return pages;
}

double differingShare(const Gray& a, const Gray& b, int threshold) {
    if (a.width != b.width || a.height != b.height || a.pixels.size() != b.pixels.size() ||
        a.pixels.isEmpty())
        return 1.0;
    qsizetype differing = 0;
    for (qsizetype i = 0; i < a.pixels.size(); ++i)
        if (std::abs(static_cast<uchar>(a.pixels[i]) - static_cast<uchar>(b.pixels[i])) > threshold)
            ++differing;
    return static_cast<double>(differing) / static_cast<double>(a.pixels.size());
}

} // namespace pdftest
