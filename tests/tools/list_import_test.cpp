#include "foundation/general.h"
#include "foundation/list_import.h"
#include "test_env.h"

#include <gtest/gtest.h>

namespace {

QByteArray utf16le(const char* text) {
    QByteArray out;
    for (const char* c = text; *c; ++c)
        out.append(*c).append('\0');
    return out;
}

QString sample(const char* name) {
    return QStringLiteral(BQ_SOURCE_DIR "/tests/tools/data/") + QLatin1String(name);
}

TEST(ListImport, EachFormatOverFilesOfEveryKind) {
    struct Row {
        QByteArray bytes; // written to a file, or "@name" for a file of tests/tools/data
        int filter;
        const char* list;
        ImportResult::Outcome outcome = ImportResult::Read;
    } rows[] = {
        {"@scifinder.rtf", 1,
         "WO2001012345\r\nUS6123456\r\nEP1000001\r\nJP2001123456\r\nISSN:\r\n"},
        {"CODEN: ABCDEF WO 2001012345 A1 20010215 more text", 1, "WO2001012345\r\n"},
        {"CODEN: ABCDEF WO2001012345 A1\r\nCODEN: X WO 1", 1, ""}, // one word left: no line
        {"EP1234567,EP7654321", 3, "EP1234567\r\nEP7654321"},
        {"EP1234567,,,EP7654321", 3, "EP1234567\r\n\r\nEP7654321"},
        {"\"EP 1\"\t\t\tUS-2\r\nJP/3\\4", 2, "EP1\r\n\r\nUS-2\r\nJP34"},
        {"EP1   US-2,\"3\"", 4, "EP1\r\n\r\nUS-23"},
        {"EP-1/2\r\nUS 3,\\4\r\n", 5, "EP12\r\nUS34\r\n"},
        {"EP1\nEP2\n", 2, "EP1\r\nEP2\r\n"},                         // line ends of Linux
        {"EP-1\rUS 2\r", 5, "EP1\r\nUS2\r\n"},                       // and of old Macs
        {"\xFF\xFE" + utf16le("EP1\tUS2\r\n"), 2, "EP1\r\nUS2\r\n"}, // Excel's Unicode text
        {"\xEF\xBB\xBF"
         "EP1\xC3\xA9",
         5, "EP1\xC3\xA9"},
        {"EP1,\xE9", 3, "EP1\r\n\xC3\xA9"},
        {QByteArray("%PDF-1.4\n\x01\x00\x7F\x00\x00\xFF obj", 20), 5, "", ImportResult::Binary},
        {"EP1", 0, ""},
        {"", 5, ""},
        {QByteArray("EP1\n").repeated(kImportLines + 1), 5, "", ImportResult::TooManyNumbers},
    };
    const QString file = test_root() + QStringLiteral("/import.txt");
    for (const Row& r : rows) {
        QString path = file;
        if (r.bytes.startsWith('@'))
            path = sample(r.bytes.constData() + 1);
        else
            write_file(file, r.bytes);
        const ImportResult got = import_numbers(path, r.filter);
        EXPECT_EQ(got.list, QString::fromUtf8(r.list)) << r.bytes.toStdString() << " " << r.filter;
        EXPECT_EQ(got.outcome, r.outcome) << r.bytes.toStdString();
    }
}

// A file too large is refused by the import window's test, before it is read.
TEST(ListImport, MissingFilesAreNotRead) {
    EXPECT_EQ(import_numbers(test_root() + "/none.txt", 5).outcome, ImportResult::Unreadable);
    EXPECT_EQ(import_numbers(QString(), 5).outcome, ImportResult::Unreadable);
}

TEST(ListImport, ALargeSciFinderFileYieldsOncePerRecord) {
    QByteArray text;
    for (int i = 0; i < 20000; ++i)
        text += "CODEN: PIXXD2 WO 2001" + QByteArray::number(100000 + i) + " A1 20010215\r\n";
    int yields = 0;
    const QString list = import_list(import_text(text), 1, [&yields] { ++yields; });
    EXPECT_EQ(yields, 20000);
    EXPECT_TRUE(list.endsWith(QStringLiteral("\r\nWO2001119999\r\n")));
}

} // namespace
