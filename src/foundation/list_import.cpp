#include "foundation/list_import.h"

#include "foundation/general.h"

#include <QFileInfo>
#include <QStringDecoder>

#include <optional>

namespace {

const QString kCrLf = QStringLiteral("\r\n");

QString remove_all(QString text, std::initializer_list<QChar> characters) {
    for (QChar c : characters)
        text.remove(c);
    return text;
}

// UTF-16 without a byte-order mark: ASCII text leaves every other byte NUL. Which byte of
// the pair tells the byte order; nine pairs in ten must agree.
bool looks_utf16(const QByteArray& bytes, bool& littleEndian) {
    if (bytes.size() < 2 || bytes.size() % 2 != 0)
        return false;
    qsizetype highLow = 0, lowHigh = 0;
    for (qsizetype i = 0; i + 1 < bytes.size(); i += 2) {
        if (bytes[i] != 0 && bytes[i + 1] == 0)
            ++highLow;
        else if (bytes[i] == 0 && bytes[i + 1] != 0)
            ++lowHigh;
    }
    const qsizetype pairs = bytes.size() / 2;
    littleEndian = highLow >= lowHigh;
    return qMax(highLow, lowHigh) * 10 >= pairs * 9;
}

// The text of a file's bytes; nothing for a binary file.
std::optional<QString> decode(const QByteArray& bytes) {
    if (bytes.startsWith("\xFF\xFE"))
        return QStringDecoder(QStringDecoder::Utf16LE).decode(bytes.mid(2));
    if (bytes.startsWith("\xFE\xFF"))
        return QStringDecoder(QStringDecoder::Utf16BE).decode(bytes.mid(2));
    if (bytes.contains('\0')) {
        bool little = true;
        if (!looks_utf16(bytes, little))
            return std::nullopt;
        return QStringDecoder(little ? QStringDecoder::Utf16LE : QStringDecoder::Utf16BE)
            .decode(bytes);
    }
    const QByteArray body = bytes.startsWith("\xEF\xBB\xBF") ? bytes.mid(3) : bytes;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(body);
    return utf8.hasError() ? QString::fromLatin1(body) : text;
}

// CR LF, LF alone and CR alone all become CR LF.
QString windows_line_ends(QString text) {
    text.replace(kCrLf, QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text.replace(QLatin1Char('\n'), kCrLf);
}

// From the first blank of the text, 30 characters, trimmed; "" when it has no blank.
QString from_first_blank(const QString& text, qsizetype from = 0) {
    const qsizetype blank = text.indexOf(QLatin1Char(' '), from);
    return blank < 0 ? QString() : vb_trim(text.mid(blank, 30));
}

// Cut at the last blank and trimmed; "" when there is no blank.
QString before_last_blank(const QString& text) {
    const qsizetype blank = text.lastIndexOf(QLatin1Char(' '));
    return blank < 0 ? QString() : vb_trim(text.left(blank));
}

// A SciFinder record: "CODEN:", the journal code, the country code and number, the kind
// code and a date. The number is what stands between the journal code and the last two
// words of a 30-character window.
QString scifinder(QString text, const std::function<void()>& yield) {
    text = remove_all(std::move(text), {u'\r', u'\n'});
    const QString coden = QStringLiteral("CODEN:");
    QString result;
    qsizetype at = 0;
    while ((at = text.indexOf(coden, at)) >= 0) {
        at += coden.size();
        QString candidate = from_first_blank(text, at);
        candidate = from_first_blank(candidate); // drops the journal code
        candidate = vb_trim(Left(candidate, 2) + vb_trim(Mid(candidate, 3)));
        candidate = before_last_blank(before_last_blank(candidate)); // kind code and date
        candidate.remove(QLatin1Char(' '));
        if (!candidate.isEmpty())
            result += candidate + kCrLf;
        if (yield)
            yield();
    }
    return result;
}

// Formats 2 to 4: line ends become the separator, the listed characters go, a doubled
// separator is made single in one pass, and each separator becomes a line end.
QString separated(QString text, QChar separator, std::initializer_list<QChar> deleted) {
    text.replace(QLatin1Char('\r'), separator);
    text = remove_all(std::move(text), deleted);
    text.replace(QString(2, separator), QString(separator));
    text.replace(separator, kCrLf);
    return text;
}

} // namespace

QStringList import_filters() {
    return {QStringLiteral("SciFinder export (RTF) (*.rtf)"),
            QStringLiteral("Text (Tab delimeted) (*.txt *.csv)"),
            QStringLiteral("Text (Comma delimeted) (*.txt *.csv)"),
            QStringLiteral("Text (Space delimeted) (*.txt)"),
            QStringLiteral("Text (One per line) (*.txt)")};
}

QString import_text(const QByteArray& bytes) {
    return windows_line_ends(decode(bytes).value_or(QString()));
}

QString import_list(const QString& text, int filterIndex, const std::function<void()>& yield) {
    switch (filterIndex) {
    case 1:
        return scifinder(text, yield);
    case 2:
        return separated(text, u'\t', {u'\n', u' ', u'"', u'/', u',', u'\\'});
    case 3:
        return separated(text, u',', {u'\n', u' ', u'"', u'/', u'\t', u'\\'});
    case 4:
        return separated(text, u' ', {u'\n', u'\t', u'"', u'/', u',', u'\\'});
    case 5:
        return remove_all(text, {u'-', u'/', u' ', u'\\', u','});
    default:
        return {};
    }
}

ImportResult import_numbers(const QString& path, int filterIndex,
                            const std::function<void()>& yield) {
    ImportResult r;
    const QFileInfo info(path);
    if (path.isEmpty() || !info.isFile() || !info.isReadable())
        return r;
    if (info.size() > kImportLimit) {
        r.outcome = ImportResult::TooLarge;
        return r;
    }
    const std::optional<QString> text = decode(read_file(path));
    if (!text) {
        r.outcome = ImportResult::Binary;
        return r;
    }
    r.list = import_list(windows_line_ends(*text), filterIndex, yield);
    r.outcome = ImportResult::Read;
    if (r.list.count(QLatin1Char('\n')) > kImportLines) {
        r.outcome = ImportResult::TooManyNumbers;
        r.list.clear();
    }
    return r;
}
