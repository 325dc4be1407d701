#include "offices/uspto_forms.h"
#include "test_env.h"

#include <gtest/gtest.h>

TEST(UsptoNumbers, ImageServerAddresses) {
    struct Case {
        const char* number;
        const char* rewritten;
        const char* path;
        bool application;
    } cases[] = {
        {"US5123456", "05123456", "/fdd/56/234/051/0.pdf", false},
        {"USD339456", "D0339456", "/fdd/56/394/D03/0.pdf", false},
        {"USPP8901", "PP008901", "/fdd/01/089/PP0/0.pdf", false},
        {"USRE35312", "RE035312", "/fdd/12/353/RE0/0.pdf", false},
        {"USH1523", "H0001523", "/fdd/23/015/H00/0.pdf", false},
        {"UST109201", "T0109201", "/fdd/01/092/T01/0.pdf", false},
        {"USX12", "X0000012", "/fdd/12/000/X00/0.pdf", false},
        {"us 5,123-456", "05123456", "/fdd/56/234/051/0.pdf", false},
        {"US2001000044", "20010000044", "/fdd/44/2001/00/000/0.pdf", true},
        {"US20010000044A1", "20010000044", "/fdd/44/2001/00/000/0.pdf", true},
        // "A2" goes with the kind codes before the application test is made.
        {"USA20010000044", "00100000044", "/fdd/44/0010/00/000/0.pdf", true},
        {"US20041234567", "20040234567", "/fdd/67/2004/45/023/0.pdf", true},
        {"US5000000B1", "05000000", "/fdd/00/000/050/0.pdf", false},
        {"US5000000B2", "05000000", "/fdd/00/000/050/0.pdf", false},
        {"US5000000A", "05000000", "/fdd/00/000/050/0.pdf", false},
        {"123456789", "23456789", "/fdd/89/567/234/0.pdf", false},
        {"USRE35312E", "RE35312E", "/fdd/2E/531/RE3/0.pdf", false},
        // No row for "I" (the "A" of "AI" is gone) nor for any other letter.
        {"USAI123", "I123", "/fdd/23/3/I12/0.pdf", false},
        {"USQ9", "Q9", "/fdd/Q9//Q9/0.pdf", false},
        {"", "", "/fdd////0.pdf", false},
        {"US-A-B", "", "/fdd////0.pdf", false},
        {"US12345678901234567", "12340234567", "/fdd/67/1234/45/023/0.pdf", true},
    };
    for (const Case& c : cases) {
        const UsptoPdfAddress a = uspto_pdf_address(QString::fromLatin1(c.number));
        EXPECT_EQ(a.rewritten, c.rewritten) << c.number;
        EXPECT_EQ(a.path, c.path) << c.number;
        EXPECT_EQ(a.application, c.application) << c.number;
    }
}

TEST(UsptoNumbers, FullTextSearches) {
    struct Case {
        const char* number;
        const char* search; // the end of the query
        bool application;
    } cases[] = {
        {"US5123456", "d=PALL&p=1&u=/&r=1&f=G&l=50&s1='5123456'.PN.", false},
        {"USD339456", "s1='D339456'.PN.", false},
        {"USA20010000044", "d=PG01&p=1&u=/ne&r=1&f=G&l=50&s1='20010000044'.PGNR.", true},
        {"US2001000044", "s1='20010000044'.PGNR.", true},
        // "USA" alone makes an application; the "0" is forced in three times over.
        {"USA1234", "s1='1234000'.PGNR.", true},
        {"US", "s1=''.PN.", false},
    };
    for (const Case& c : cases) {
        const UsptoTextQuery q = uspto_text_query(QString::fromLatin1(c.number));
        EXPECT_TRUE(q.pathAndQuery.startsWith("/netacgi/nph-Parser?Sect1=PTO1&Sect2=HITOFF&"));
        EXPECT_TRUE(q.pathAndQuery.endsWith(QLatin1String(c.search)))
            << q.pathAndQuery.toStdString();
        EXPECT_EQ(q.application, c.application) << c.number;
    }
}
