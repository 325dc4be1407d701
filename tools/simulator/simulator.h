#pragma once

#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// The office simulator: one loopback HTTP server per host role, each answering as the
// company servers and the offices answer, from a folder of sample documents. Role modules
// (company, Espacenet, USPTO, ...) add their routes before start().
class Simulator {
public:
    // What a role can be told to do wrong, to every request from then on.
    enum class Fault {
        None,
        Refused,      // connections are refused: the port is bound but does not listen
        Html,         // status 200 with an HTML error page in place of the answer
        Status500,    // status 500 with an HTML error page
        ShortBody,    // the first half of the answer, announced as all of it
        WrongLength,  // the whole answer, announced longer than it is: a dropped connection
        Reset,        // the connection is closed halfway through the body
        Slow,         // the answer comes Options::slowMs late, within the time-out
        Stall,        // the body stops halfway and stalls for Options::stallMs
        RedirectLoop, // the request is sent back to itself, for ever
        Huge,         // a body of Options::hugeBytes
    };
    // The faults by name ("refused", "html", "500", "short", "length", "reset", "slow",
    // "stall", "redirect", "huge"), for the command line.
    static bool fault_by_name(const QString& name, Fault& fault);

    // An option that may be changed while the servers answer: read and written whole.
    template <typename T> class Live {
    public:
        Live(T value = T()) : value_(value) {}
        Live(const Live& other) : value_(other.value_.load()) {}
        Live& operator=(const Live& other) {
            value_ = other.value_.load();
            return *this;
        }
        operator T() const { return value_.load(); }

    private:
        std::atomic<T> value_;
    };

    struct Options {
        Live<int> latencyMs = 0;      // time from a request's arrival to its answer
        Live<int> pageFailures = 0;   // every page request fails this often before it succeeds
        Live<bool> dropPages = false; // page failures close the connection, not answer HTML
        // Certificate and key (PEM files) of the roles served over https (see secure());
        // without them those roles are not started.
        std::string tlsCertificate;
        std::string tlsKey;
        int slowMs = 300;                  // Fault::Slow
        int stallMs = 30000;               // Fault::Stall, cut short by stop()
        long long hugeBytes = 200LL << 20; // Fault::Huge
    };
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    explicit Simulator(QString samplesFolder);
    Simulator(QString samplesFolder, Options options);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Adds a route (exact path, query ignored) to a role's server; creates the role. A path
    // ending in "*" takes every path that begins with the part before it, where no exact
    // route matches.
    void route(const QString& role, const std::string& path, Handler handler);
    // Serves a role over https with the certificate of the options.
    void secure(const QString& role);
    // Called on the serving thread with the role and the request target before each answer.
    using Observer = std::function<void(const QString& role, const std::string& target)>;
    void set_observer(Observer observer);
    // Tells a role to misbehave (Fault::None: to behave again). Takes effect at once. With
    // a path stem, only requests whose path begins with it misbehave (Refused takes the
    // whole role all the same: it is the port that refuses).
    void set_fault(const QString& role, Fault fault, const std::string& pathStem = {});
    // Binds every role on 127.0.0.1 with a port of its own and starts serving.
    void start();
    void stop();

    // "127.0.0.1:port" of a role, "" for a role without routes.
    QString host(const QString& role) const;
    QStringList roles() const;
    // Writes every role's host into a settings key (created if missing).
    void write_host_roles(const QString& keyPath) const;

    const QString& samples() const { return samples_; }
    Options& options() { return options_; }
    // The request targets that reached a role, in order.
    std::vector<std::string> requests(const QString& role) const;

    // Counts failed answers per page key, for Options::pageFailures.
    bool should_fail(const std::string& key);

private:
    struct Role;
    void serve(Role& role, const httplib::Request& req, httplib::Response& res);
    void misbehave(Fault fault, const httplib::Request& req, httplib::Response& res);
    void start_role(Role& role);
    void pause_until(std::chrono::steady_clock::time_point until);

    QString samples_;
    Options options_;
    std::map<QString, std::unique_ptr<Role>> roles_;
    mutable std::mutex mutex_;
    std::map<std::string, int> failures_;
    Observer observer_;
    bool stopping_ = false;
    std::condition_variable stopped_;
};

// Writes a sample document of that many pages to path (its folder created): each page
// shows the title and its page number above a grey image of about imageBytes bytes, so
// that page files have a realistic size. False when it could not be written.
bool make_sample_pdf(const QString& path, const QString& title, int pages, int imageBytes = 6000);

// The role modules.
void add_company_roles(Simulator& sim);   // CompanyWebHost, CompanyLookupHost, ...
void add_espacenet_roles(Simulator& sim); // EspacenetNationalHost, EspacenetSiteHost
void add_uspto_roles(Simulator& sim);     // the USPTO hosts, uspto.lib on the company hosts
void add_depatis_roles(Simulator& sim);   // DEPATISnet's script on CompanyImageHost
void add_epoline_roles(Simulator& sim);   // EpolineHost
void add_inpi_roles(Simulator& sim);      // InpiHost

// Japan: "/jp.asp" on CompanyLookupHost and the office's PDFs on a host of their own.
void add_japan_roles(Simulator& sim);
// Japanese and Chinese translations on CompanyImageHost.
void add_jpo_translation_roles(Simulator& sim);
// FipsHost.
void add_russia_roles(Simulator& sim);
// Korea: the record service on CompanyImageHost, KiprisHost and KiprisOldHost.
void add_korea_roles(Simulator& sim);

void add_spain_roles(Simulator& sim);     // espdf.asp on CompanyLookupHost, OepmHost
void add_canada_roles(Simulator& sim);    // CipoHost
void add_australia_roles(Simulator& sim); // IpAustraliaHost
void add_tools_roles(Simulator& sim);     // family, equivalents and version on CompanyServicesHost
void add_china_roles(Simulator& sim);     // SipoPatentHost, the page relay on CompanyServicesHost
void add_cn_translation_roles(Simulator& sim); // CnpatSearchHost, the proxy on CompanyLookupHost
// All role modules of this build.
void add_all_roles(Simulator& sim);
