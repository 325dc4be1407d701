#include "foundation/general.h"

#include "foundation/host.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <limits>

void CAddFolder(const QString& cfolderName) {
    if (cfolderName.trimmed().isEmpty())
        return;
    QDir().mkdir(cfolderName); // one level only; failure is ignored
}

void AddNewFolder(const QString& rpath, const QString& bfolderName) {
    CAddFolder(rpath + bfolderName);
}

void CopyFileBinary(Host& host, const QString& source, const QString& destination) {
    if (!QFileInfo(source).isFile()) {
        host.message(QStringLiteral("PDF File Not found"), QString(), 16);
        return;
    }
    if (QFileInfo::exists(destination))
        QFile::remove(destination);
    QFile in(source);
    QFile out(destination);
    if (!in.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly)) {
        host.message(QStringLiteral("PDF file Copy Error!"), QString(), 16);
        return;
    }
    const qint64 total = in.size();
    while (out.size() < total) {
        const qint64 block = qMin<qint64>(2048, total - out.size());
        const QByteArray data = in.read(block);
        if (data.isEmpty() || out.write(data) != data.size()) {
            host.message(QStringLiteral("PDF file Copy Error!"), QString(), 16);
            return;
        }
        out.flush();
    }
}

void ExecuteLink(Host& host, Shell& shell, const QString& target) {
    if (!shell.open(target))
        host.message(QStringLiteral("error Opening Link to ") + target +
                         QStringLiteral("\r\n\r\n0"),
                     QStringLiteral("ExecuteLink"), 0);
}

QString GetWinDir() {
    return {};
}

QString application_folder() {
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty())
        data = QDir::homePath() + QStringLiteral("/.local/share");
    const QString folder = data + QStringLiteral("/brightquill");
    QDir().mkpath(folder);
    return folder + QLatin1Char('/');
}

QString with_slash(const QString& folder) {
    return folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
}

namespace {
QDateTime g_fixedNow;

QDateTime current() {
    return g_fixedNow.isValid() ? g_fixedNow : QDateTime::currentDateTime();
}
} // namespace

void set_fixed_now(const QDateTime& moment) {
    g_fixedNow = moment;
}

QString timer_text() {
    // The timer ticks in hundredths.
    const qint64 hundredths = current().time().msecsSinceStartOfDay() / 10;
    QString s = QString::number(hundredths / 100);
    const int frac = int(hundredths % 100);
    if (frac != 0) {
        QString f = QStringLiteral("%1").arg(frac, 2, 10, QLatin1Char('0'));
        if (f.endsWith(QLatin1Char('0')))
            f.chop(1);
        s += QLatin1Char('.') + f;
    }
    return s;
}

QString now_text() {
    return QLocale::system().toString(current(), QLocale::ShortFormat);
}

QString Left(const QString& s, int n) {
    return n <= 0 ? QString() : s.left(n);
}

QString Right(const QString& s, int n) {
    return n <= 0 ? QString() : s.right(n);
}

QString Mid(const QString& s, int start1, int length) {
    if (start1 < 1 || start1 > s.size())
        return {};
    return length < 0 ? s.mid(start1 - 1) : s.mid(start1 - 1, length);
}

QString vb_trim(const QString& s) {
    int b = 0;
    int e = int(s.size());
    while (b < e && s.at(b) == QLatin1Char(' '))
        ++b;
    while (e > b && s.at(e - 1) == QLatin1Char(' '))
        --e;
    return s.mid(b, e - b);
}

int vb_val(const QString& text) {
    auto blank = [](QChar c) {
        return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') ||
               c == QLatin1Char('\r');
    };
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && blank(text.at(i)))
        ++i;
    bool negative = false;
    if (i < n && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+'))) {
        negative = text.at(i) == QLatin1Char('-');
        ++i;
    }
    qint64 value = 0;
    for (; i < n; ++i) {
        const QChar c = text.at(i);
        if (blank(c))
            continue;
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            break;
        value = value * 10 + (c.unicode() - '0');
        if (value > std::numeric_limits<int>::max())
            return 0;
    }
    return int(negative ? -value : value);
}

QString name_safe(const QString& text) {
    QString safe;
    safe.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == 0x7f || (u >= 0x80 && u < 0xa0) || QStringView(u"\"*?<>|").contains(c))
            continue;
        safe += c;
    }
    return safe;
}

bool file_exists(const QString& path) {
    return !path.isEmpty() && QFileInfo(path).isFile();
}

qint64 file_length(const QString& path) {
    return QFileInfo(path).size();
}

QByteArray read_file(const QString& path) {
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return f.readAll();
}

bool write_file(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return f.write(bytes) == bytes.size();
}

void delete_file(const QString& path) {
    if (!path.isEmpty())
        QFile::remove(path);
}
