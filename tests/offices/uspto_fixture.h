#pragma once

// Folders, settings and loopback servers for the USPTO retriever tests, and the documents
// and page images they serve.

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "loopback_server.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"
#include "uspto_samples.h"

#include <QDir>
#include <QFile>

#include <map>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

class UsptoTest : public ::testing::Test {
public:
    // A page image as the viewer serves it, made once per kind.
    static QByteArray page_tiff(int mark, bool certificate = false) {
        static std::map<std::pair<int, bool>, QByteArray> made;
        QByteArray& t = made[{mark, certificate}];
        if (t.isEmpty())
            t = uspto_sample_tiff(mark, certificate);
        return t;
    }

    // An answer that makes the request fail for certain: a redirect to a port that is bound
    // for good but never listens, so every connection to it is refused.
    static LoopbackServer::Answer refused() {
        static const std::string url = [] {
            const int fd = socket(AF_INET, SOCK_STREAM, 0);
            sockaddr_in a{};
            a.sin_family = AF_INET;
            a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            socklen_t size = sizeof a;
            bind(fd, reinterpret_cast<sockaddr*>(&a), size);
            getsockname(fd, reinterpret_cast<sockaddr*>(&a), &size);
            return "http://127.0.0.1:" + std::to_string(ntohs(a.sin_port)) + "/refused";
        }();
        return LoopbackServer::Answer::redirect(url);
    }

protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        root = test_root() + "/" + QString::fromLatin1(info->name()).replace('/', '_');
        QDir(root).removeRecursively();
        pdfdir = root + "/pdf/";
        tempdir = root + "/tmp/";
        QDir().mkpath(root);
        set_settings({{"PDFDIR", pdfdir}, {"TEMPDIR", tempdir}, {"PROXYUSERID", ""}});
        reset_lib();
        point_roles({"UsptoPdfPatentHost", "UsptoPdfApplicationHost", "UsptoPatentTextHost",
                     "UsptoApplicationTextHost", "UsptoPatentViewerHost1", "UsptoPatentViewerHost2",
                     "UsptoPatentViewerHost3", "UsptoApplicationViewerHost1",
                     "UsptoApplicationViewerHost2", "CompanyWebHost", "CompanyMirrorHost",
                     "CompanyLookupHost"},
                    server.host());
    }
    void TearDown() override { reset_lib(); }

    static QString lib() { return application_folder() + "uspto.lib"; }
    static void reset_lib() {
        QFile::remove(lib());
        QDir(lib()).removeRecursively();
    }
    static QByteArray program(const char* name) { return read_file(QString("/usr/bin/") + name); }

    // A document of n pages through the built-in writer and the page-copying library.
    QByteArray document(int pages) {
        const QString out = root + "/document.pdf";
        const int32_t h = PDocNew(0, 0, out);
        for (int n = 1; n <= pages; ++n) {
            write_file(root + "/page.tif", page_tiff(n));
            tif_to_pdf(host, root + "/page.pdf", root + "/page.tif");
            PDocMerge(h, root + "/page.pdf", 1, 1);
        }
        PDocRelease(h);
        return read_file(out);
    }
    // Files below a folder, by name.
    static QStringList files(const QString& folder) {
        return QDir(folder).entryList(QDir::Files, QDir::Name);
    }
    // The targets of the requests for one path, in order.
    std::vector<std::string> targets_of(const std::string& path) const {
        std::vector<std::string> t;
        for (const auto& r : server.requests())
            if (r.path == path)
                t.push_back(r.target);
        return t;
    }

    QString root, pdfdir, tempdir;
    LoopbackServer server;
    HeadlessHost host;
    RecordingShell shell;
    RunContext ctx{host, shell};
};
