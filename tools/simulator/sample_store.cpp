#include "sample_store.h"

#include "simulator.h"

#include <httplib.h>
#include <qpdf/qpdf-c.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

#include <mutex>
#include <vector>

namespace {

// Cutting pages happens once per document, whichever request comes first.
std::mutex& split_mutex() {
    static std::mutex m;
    return m;
}

QByteArray pdf_string(const QString& text) {
    QByteArray s = text.toLatin1();
    s.replace('\\', "\\\\");
    s.replace('(', "\\(");
    s.replace(')', "\\)");
    return s;
}

// Cuts a document into one file per page below dir; returns the page count. (qpdf's C
// interface: its C++ headers don't build with every compiler the project uses.)
int split_document(const QString& document, const QString& dir) {
    qpdf_data in = qpdf_init();
    qpdf_silence_errors(in);
    qpdf_set_suppress_warnings(in, QPDF_TRUE);
    int n = 0;
    if (!(qpdf_read(in, QFile::encodeName(document).constData(), nullptr) & QPDF_ERRORS)) {
        const int pages = qpdf_get_num_pages(in);
        for (int i = 0; i < pages; ++i) {
            qpdf_data out = qpdf_init();
            qpdf_silence_errors(out);
            const QString file =
                dir + QLatin1Char('/') + QString::number(i + 1) + QStringLiteral(".pdf");
            bool ok = !(qpdf_empty_pdf(out) & QPDF_ERRORS) &&
                      !(qpdf_add_page(out, in, qpdf_get_page_n(in, size_t(i)), QPDF_FALSE) &
                        QPDF_ERRORS) &&
                      !(qpdf_init_write(out, QFile::encodeName(file).constData()) & QPDF_ERRORS);
            if (ok) {
                qpdf_set_static_ID(out, QPDF_TRUE);
                ok = !(qpdf_write(out) & QPDF_ERRORS);
            }
            qpdf_cleanup(&out);
            if (!ok)
                break;
            n = i + 1;
        }
    }
    qpdf_cleanup(&in);
    return n;
}

// The page folder of a document, cut when missing or older than the document.
QString pages_dir(const QString& samples, const QString& source, const QString& path, int* count) {
    const QString dir =
        samples + QStringLiteral("/.pages/") + source + QLatin1Char('/') + sim::document_name(path);
    const QString marker = dir + QStringLiteral("/.complete");
    std::lock_guard<std::mutex> lock(split_mutex());
    const QFileInfo doc(path);
    const QFileInfo done(marker);
    if (!done.exists() || done.lastModified() < doc.lastModified()) {
        QDir(dir).removeRecursively();
        QDir().mkpath(dir);
        const int n = split_document(path, dir);
        QFile f(marker);
        if (f.open(QIODevice::WriteOnly))
            f.write(QByteArray::number(n));
    }
    if (count) {
        QFile f(marker);
        *count = f.open(QIODevice::ReadOnly) ? f.readAll().trimmed().toInt() : 0;
    }
    return dir;
}

} // namespace

bool make_sample_pdf(const QString& path, const QString& title, int pages, int imageBytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // Laid out as the company's documents are: CR LF line ends, each page's "/Type /Page"
    // at the start of a line, so that a plain-text page count of a cached file works.
    pages = qMax(pages, 1);
    const int width = 100;
    const int height = qMax(imageBytes / width, 1);
    QByteArray out = "%PDF-1.4\r\n%\xE2\xE3\xCF\xD3\r\n";
    std::vector<qint64> offsets(size_t(4 + 3 * pages), 0);
    qint64 written = 0;
    auto flush = [&] {
        written += file.write(out);
        out.clear();
    };
    auto object = [&](int number, const QByteArray& body) {
        offsets[size_t(number)] = written + out.size();
        out += QByteArray::number(number) + " 0 obj\r\n" + body + "\r\nendobj\r\n";
    };
    object(1, "<<\r\n/Type /Catalog\r\n/Pages 2 0 R\r\n>>");
    QByteArray kids;
    for (int i = 0; i < pages; ++i)
        kids += QByteArray::number(4 + 3 * i) + " 0 R ";
    object(2, "<< /Type /Pages\r\n/Kids [" + kids + "]\r\n/Count " + QByteArray::number(pages) +
                  "\r\n>>");
    object(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
    quint32 seed = 0x2545F491u;
    for (int i = 0; i < pages; ++i) {
        const int page = 4 + 3 * i;
        object(page,
               "<<\r\n/Type /Page\r\n/Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << "
               "/F1 3 0 R >> /XObject << /Im1 " +
                   QByteArray::number(page + 2) + " 0 R >> >> /Contents " +
                   QByteArray::number(page + 1) + " 0 R\r\n>>");
        const QByteArray content = "BT /F1 24 Tf 72 760 Td (" + pdf_string(title) +
                                   ") Tj ET\nBT /F1 14 Tf 72 730 Td (Page " +
                                   QByteArray::number(i + 1) + " of " + QByteArray::number(pages) +
                                   ") Tj ET\nq 400 0 0 300 72 380 cm /Im1 Do Q";
        object(page + 1, "<< /Length " + QByteArray::number(content.size()) + " >>\r\nstream\r\n" +
                             content + "\r\nendstream");
        QByteArray image(width * height, '\0');
        for (char& c : image) {
            seed = seed * 1664525u + 1013904223u;
            c = char(0x60 + ((seed >> 24) & 0x7F)); // grey noise, no line ends
        }
        object(page + 2, "<< /Type /XObject /Subtype /Image /Width " + QByteArray::number(width) +
                             " /Height " + QByteArray::number(height) +
                             " /ColorSpace /DeviceGray /BitsPerComponent 8 /Length " +
                             QByteArray::number(image.size()) + " >>\r\nstream\r\n" + image +
                             "\r\nendstream");
        if (out.size() > (1 << 20))
            flush();
    }
    const qint64 xref = written + out.size();
    const int size = 4 + 3 * pages;
    out += "xref\r\n0 " + QByteArray::number(size) + "\r\n0000000000 65535 f\r\n";
    for (int i = 1; i < size; ++i)
        out += QByteArray::number(offsets[size_t(i)]).rightJustified(10, '0') + " 00000 n\r\n";
    out += "trailer\r\n<<\r\n/Size " + QByteArray::number(size) +
           "\r\n/Root 1 0 R\r\n>>\r\nstartxref\r\n" + QByteArray::number(xref) + "\r\n%%EOF\r\n";
    flush();
    return file.commit();
}

namespace sim {

QString match_key(const QString& number) {
    QString s;
    for (QChar c : number.toUpper())
        if ((c >= QLatin1Char('A') && c <= QLatin1Char('Z')) ||
            (c >= QLatin1Char('0') && c <= QLatin1Char('9')))
            s += c;
    static const QRegularExpression re(QStringLiteral("^([A-Z]{2})(\\d+)([A-Z]\\d?)?$"));
    const QRegularExpressionMatch m = re.match(s);
    if (!m.hasMatch())
        return s;
    const QString country = m.captured(1);
    QString digits = m.captured(2);
    if (country == QLatin1String("WO") && digits.size() < 10 && digits.size() > 2) {
        const QString yy = digits.left(2);
        const QString serial = digits.mid(2).rightJustified(6, QLatin1Char('0'));
        digits = (yy.toInt() < 70 ? QStringLiteral("20") : QStringLiteral("19")) + yy + serial;
    }
    // A published US application is also asked for without the zero behind its year.
    if (country == QLatin1String("US") && digits.size() == 10 &&
        digits.startsWith(QLatin1String("20")))
        digits.insert(4, QLatin1Char('0'));
    if (country == QLatin1String("EP")) {
        while (digits.size() > 1 && digits.startsWith(QLatin1Char('0')))
            digits.remove(0, 1);
    }
    return country + digits;
}

QString find_document(const QString& samples, const QString& source, const QString& number) {
    const QDir dir(samples + QLatin1Char('/') + source);
    const QString wanted = number.trimmed().toUpper();
    if (wanted.isEmpty())
        return {};
    const QStringList names = dir.entryList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name);
    for (const QString& name : names)
        if (name.chopped(4).toUpper() == wanted)
            return dir.filePath(name);
    const QString key = match_key(wanted);
    for (const QString& name : names)
        if (match_key(name.chopped(4)) == key)
            return dir.filePath(name);
    return {};
}

QString document_name(const QString& path) {
    return QFileInfo(path).completeBaseName();
}

QString document_bookmarks(const QString& path) {
    QFile f(path.chopped(4) + QStringLiteral(".bookmarks"));
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(f.readAll()).trimmed();
}

int page_count(const QString& samples, const QString& source, const QString& path) {
    int n = 0;
    pages_dir(samples, source, path, &n);
    return n;
}

QString page_file(const QString& samples, const QString& source, const QString& path, long long n) {
    if (n < 1)
        return {};
    const QString file = pages_dir(samples, source, path, nullptr) + QLatin1Char('/') +
                         QString::number(n) + QStringLiteral(".pdf");
    return QFileInfo::exists(file) ? file : QString();
}

void ensure_sample(const QString& samples, const QString& source, const QString& name, int pages,
                   const QString& bookmarks, int imageBytes) {
    const QString path =
        samples + QLatin1Char('/') + source + QLatin1Char('/') + name + QStringLiteral(".pdf");
    if (QFileInfo::exists(path))
        return;
    make_sample_pdf(path, name, pages, imageBytes);
    if (!bookmarks.isEmpty()) {
        QFile f(path.chopped(4) + QStringLiteral(".bookmarks"));
        if (f.open(QIODevice::WriteOnly))
            f.write(bookmarks.toLatin1());
    }
}

std::string param(const httplib::Request& req, const std::string& key) {
    for (const auto& [k, v] : req.params)
        if (strcasecmp(k.c_str(), key.c_str()) == 0)
            return v;
    return {};
}

QString qparam(const httplib::Request& req, const std::string& key) {
    return QString::fromStdString(param(req, key));
}

void answer_text(httplib::Response& res, const QString& text) {
    res.status = 200;
    res.set_content(text.toStdString(), "text/html");
}

void answer_html_error(httplib::Response& res) {
    res.status = 200;
    res.set_content("<HTML><HEAD><TITLE>Error</TITLE></HEAD><BODY>The server is busy. Please try "
                    "again.</BODY></HTML>",
                    "text/html");
}

void answer_file(httplib::Response& res, const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        res.status = 404;
        res.set_content("<html>not found</html>", "text/html");
        return;
    }
    const QByteArray data = f.readAll();
    res.status = 200;
    res.set_content(std::string(data.constData(), size_t(data.size())), "application/pdf");
}

void answer_drop(httplib::Response& res) {
    res.status = 200;
    res.set_content_provider(1000000, "application/pdf",
                             [](size_t, size_t, httplib::DataSink&) { return false; });
}

bool page_fails(Simulator& sim, httplib::Response& res, const std::string& key) {
    if (!sim.should_fail(key))
        return false;
    if (sim.options().dropPages)
        answer_drop(res);
    else
        answer_html_error(res);
    return true;
}

} // namespace sim
