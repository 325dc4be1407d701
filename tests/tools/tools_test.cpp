#include "test_env.h"
#include "tools/equivalents.h"
#include "tools/family_search.h"
#include "tools/version_check.h"

#include <gtest/gtest.h>

namespace {

TEST(FamilySearch, NumbersAsTheServiceWantsThem) {
    const std::pair<const char*, const char*> rows[] = {
        {"WO 01/12345", "WO0112345"},    {"WO2002/051231", "WO02051231"},
        {"WO02/51230", "WO0251230"},     {"WO2003/012345", "WO03012345"},
        {"WO9852322", "WO9852322"},      {"WO0024556A3", "WO0024556A3"},
        {"wo 2004-12345", "WO04012345"}, {"WO00/123", "WO0000123"},
        {"WO2020/123456", "WO20123456"}, {"ep 1000-001", "EP1000001"},
        {"US 4,500,000", "US4500000"},   {" \\ / ", ""},
    };
    for (const auto& [text3, number] : rows)
        EXPECT_EQ(family_number(text3), number) << text3;
}

TEST(VersionCheck, AnswersOfTheVersionFile) {
    const std::pair<const char*, VersionReply> rows[] = {
        {"3.0.373", VersionReply::Newer},
        {"3.0.372", VersionReply::NotNewer},
        {"4.0.1", VersionReply::NotNewer},
        {"3.0.373\r\n", VersionReply::Newer},
        {"3.0", VersionReply::Newer},
        {"3.0.99999999999", VersionReply::Newer},
        {"", VersionReply::Ignored},
        {"3.0.373.............", VersionReply::Newer}, // 20 characters
        {"3.0.373..............", VersionReply::Ignored},
    };
    for (const auto& [answer, reply] : rows)
        EXPECT_EQ(read_version_reply(answer, 372), reply) << answer;
}

TEST(Equivalents, RowsAndMessagesOfTheService) {
    const Equivalents e = read_equivalents(
        "Some title@@EP1000009<br>no row here<br>@@US1<br>A@@B@@C<br>Tab\tin@@JP2<br>");
    EXPECT_EQ(e.entries, QStringList({"EP1000009\tSome title", "US1\t", "B\tA", "JP2\tTab\tin"}));
    EXPECT_EQ(ticked_numbers(e.entries), "EP1000009\r\nUS1\r\nB\r\nJP2\r\n");
    EXPECT_EQ(read_equivalents("No equivalents found").message, "No equivalents found");
    EXPECT_EQ(read_equivalents("").message, "Error connecting to the server");
    EXPECT_TRUE(read_equivalents("a@b<br>").entries.isEmpty());
}

TEST(Equivalents, PasteKeepsExactlyOneLineEndBeforeTheNumbers) {
    const std::pair<const char*, const char*> rows[] = {
        {"", "N\r\n"},
        {"EP1", "EP1\r\nN\r\n"},
        {"EP1\r\n", "EP1\r\nN\r\n"},
        {"EP1\r\n\r\n\r\n", "EP1\r\n\r\nN\r\n"},
        {"EP1\n\n", "EP1\r\nN\r\n"},
    };
    for (const auto& [text1, result] : rows)
        EXPECT_EQ(paste_into(text1, "N\r\n"), result) << text1;
    EXPECT_EQ(paste_into("EP1\r\n", ""), "EP1\r\n"); // nothing ticked: one empty line end
}

} // namespace
