#include "offices/uspto_forms.h"

#include "foundation/general.h"

namespace {

const QString kZeros = QStringLiteral("000000000");

bool firstIsDigit(const QString& s) {
    return !s.isEmpty() && s.at(0) >= QLatin1Char('0') && s.at(0) <= QLatin1Char('9');
}

// prefix + the rest behind it, padded with zeros on the left to width characters.
QString padded(const QString& value, const QString& prefix, int width) {
    return prefix + Right(kZeros + Mid(value, int(prefix.size()) + 1), width);
}

// The granted forms. The rows are tried one after the other on the value; a number that
// meets none goes on unchanged. The "AI" row cannot fire, as every "A" is gone by now, and
// is kept all the same.
QString grantedForm(QString n) {
    if (firstIsDigit(n))
        n = Right(kZeros + n, 8);
    for (const char* letter : {"D", "X", "T", "H"}) {
        if (n.startsWith(QLatin1String(letter)))
            n = padded(n, QLatin1String(letter), 7);
    }
    for (const char* letters : {"PP", "RE", "AI"}) {
        if (n.startsWith(QLatin1String(letters)))
            n = padded(n, QLatin1String(letters), 6);
    }
    return n;
}

} // namespace

UsptoPdfAddress uspto_pdf_address(const QString& number) {
    QString n = vb_trim(number.toUpper());
    for (const char* gone : {" ", "/", "\\", ",", "-", "US"})
        n.remove(QLatin1String(gone));
    // Kind codes first, then every remaining "A" and "B": "USA20010000044" thereby loses its
    // "A2" and becomes 0010000044. The order stays as it is on purpose.
    for (char d = '1'; d <= '9'; ++d) {
        n.remove(QLatin1Char('A') + QString(QLatin1Char(d)));
        n.remove(QLatin1Char('B') + QString(QLatin1Char(d)));
    }
    n.remove(QLatin1Char('A'));
    n.remove(QLatin1Char('B'));

    UsptoPdfAddress a;
    if (n.size() > 9) {
        // A published application: the digit after the year is always "0", and a longer
        // running number is cut to this shape on purpose.
        n = Left(n, 4) + QLatin1Char('0') + Right(n, 6);
        a.application = true;
        a.path = QStringLiteral("/fdd/") + Right(n, 2) + QLatin1Char('/') + Left(n, 4) +
                 QLatin1Char('/') + Mid(n, 8, 2) + QLatin1Char('/') + Mid(n, 5, 3) +
                 QStringLiteral("/0.pdf");
    } else {
        n = grantedForm(n);
        a.path = QStringLiteral("/fdd/") + Right(n, 2) + QLatin1Char('/') + Mid(n, 4, 3) +
                 QLatin1Char('/') + Left(n, 3) + QStringLiteral("/0.pdf");
    }
    a.rewritten = n;
    return a;
}

UsptoTextQuery uspto_text_query(const QString& number) {
    UsptoTextQuery q;
    q.plain = vb_trim(Mid(number, 3));
    if (q.plain.startsWith(QLatin1Char('A')))
        q.plain = Mid(q.plain, 2);
    q.application = number.startsWith(QLatin1String("USA")) || q.plain.size() > 9;
    if (q.application) {
        for (int i = 0; i < 3; ++i) {
            if (q.plain.size() < 11)
                q.plain = Left(q.plain, 4) + QLatin1Char('0') + Mid(q.plain, 5);
        }
        q.pathAndQuery = QStringLiteral("/netacgi/nph-Parser?Sect1=PTO1&Sect2=HITOFF&d=PG01&p=1&"
                                        "u=/ne&r=1&f=G&l=50&s1='") +
                         q.plain + QStringLiteral("'.PGNR.");
    } else {
        q.pathAndQuery = QStringLiteral("/netacgi/nph-Parser?Sect1=PTO1&Sect2=HITOFF&d=PALL&p=1&"
                                        "u=/&r=1&f=G&l=50&s1='") +
                         q.plain + QStringLiteral("'.PN.");
    }
    return q;
}
