// DEPATISnet: the office form of numbers, the answer test, and numbers ordered with "#", with
// the depatis box and down the chain, against the simulated image host.
#include "offices/depatis.h"
#include "order_fixture.h"

#include <QDir>

TEST(DepatisNumbers, OfficeFormAddressAndAnswer) {
    // "WO9912345" is padded all the same: the rule counts characters, kind letters included.
    // "=" is above 60, "<" is not.
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"WO0187777", "WO2001087777"}, {"WO021234", "WO2002001234"}, {"WO1512345", "WO2015012345"},
        {"WO9912345", "WO991200345"}, {"WO0187777A1", "WO200187777"}, {"WO", "WO00"},
        {"DE4446098C2", "DE4446098"}, {"DE29919451U", "DE29919451"}, {"de 444-6098/c.2", "DE4446098"},
        {"DE12=3", "DE12"}, {"DE12<3", "DE12<3"}, {"", ""}};
    // clang-format on
    for (const auto& [number, sent] : cases)
        EXPECT_EQ(depatis_path(number), QString("/getimg/depatispdf.asp?pn=") + sent) << number;
    const QByteArray x(400, 'x');
    EXPECT_FALSE(depatis_answer_is_document(x.left(300)));
    EXPECT_TRUE(depatis_answer_is_document(x.left(301)));
    EXPECT_FALSE(depatis_answer_is_document(QByteArray(x).replace(294, 6, "<html>")));
    EXPECT_TRUE(depatis_answer_is_document(QByteArray(x).replace(295, 6, "<HTML>")));
}

class Depatis : public OrderTest {};

TEST_F(Depatis, OrdersAgainstTheImageHost) {
    startSimulator();
    using F = Simulator::Fault;
    const QString dl = "|REF|Downloaded (Depatisnet) (";
    // The lines (separated by ","), the depatis box, the fault and its size, the "pn" values
    // asked for, the log, a status shown on the way.
    const std::tuple<const char*, bool, F, long long, const char*, QString, const char*> cases[] = {
        // "#": fetched, then from the disk; missing (the WO number in its padded form too)
        // without a log line; a Canadian reissue without any trace.
        {"#DE4446098C2,#DE4446098C2,#DE1111111,#WO9912345,#CA2172863C", false, F::None, 0,
         "DE4446098 DE1111111 WO991200345",
         "DE4446098C2" + dl + "3 Pages );DE4446098C2|REF|Retrieved from cache (3 Pages )",
         "WO9912345 not found"},
        // The box: DEPATISnet first, then the chain with its own two tries.
        {"DE29919451U,DE1111111,CA2172863C", true, F::None, 0,
         "DE29919451 DE1111111 DE1111111 DE1111111",
         "DE29919451U" + dl + "1 Pages );DE1111111|REF|Not found (Patent not found)", ""},
        {"#DE4446098", false, F::Huge, 51000000, "DE4446098", "DE4446098" + dl + "51.00 MB )", ""},
    };
    for (const auto& [list, box, fault, hugeBytes, asked, log, status] : cases) {
        SCOPED_TRACE(list);
        QDir(pdf).removeRecursively();
        sim->options().hugeBytes = hugeBytes;
        sim->set_fault("CompanyImageHost", fault);
        closeConnections();
        host.depatis = box;
        host.statusHistory.clear();
        const size_t before = sim->requests("CompanyImageHost").size();
        order(QString(list).replace(",", "\r\n"));
        QStringList sent;
        for (const std::string& t : sim->requests("CompanyImageHost"))
            sent << QString::fromStdString(t).section("pn=", 1);
        EXPECT_EQ(sent.mid(int(before)).join(' '), asked);
        EXPECT_EQ(logRecords().join(';'), log);
        EXPECT_EQ(files(pdf + "REF").size(), logRecords().filter("|Downloaded").size());
        EXPECT_TRUE(host.statusHistory.contains(status) || !*status) << status;
        EXPECT_EQ(files(), QStringList());
    }
    QString outside = "../../DE4446098"; // from no order list: it can't name a file
    depatis_download(ctx, outside, "REF", false);
    EXPECT_EQ(QDir(root).entryList(QDir::Files), QStringList());
}
