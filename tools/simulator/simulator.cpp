#include "simulator.h"

#include "foundation/registry.h"
#include "sample_store.h"

#include <httplib.h>

#include <QFileInfo>

#include <chrono>

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// The server library listens with a queue of five connections. Ten page requests that
// arrive together overflow it, and the kernel makes the ones it dropped wait a second
// before they try again. So the listening socket is looked up among this process's
// descriptors and given the system's longest queue; it is also kept out of programs that
// this process starts.
void widen_listen_queue(int port) {
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return;
    while (dirent* entry = readdir(dir)) {
        const int fd = std::atoi(entry->d_name);
        if (fd <= 2 || fd == dirfd(dir))
            continue;
        sockaddr_in address{};
        socklen_t length = sizeof address;
        int listening = 0;
        socklen_t flagLength = sizeof listening;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
            address.sin_family == AF_INET && ntohs(address.sin_port) == port &&
            getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &flagLength) == 0 && listening) {
            ::listen(fd, SOMAXCONN);
            fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
    }
    closedir(dir);
}

} // namespace

struct Simulator::Role {
    QString name;
    std::map<std::string, Handler> routes;
    bool tls = false;
    Fault fault = Fault::None;
    std::string faultStem;   // the fault takes only paths that begin with this
    int refusingSocket = -1; // the bound, not listening socket of Fault::Refused
    std::unique_ptr<httplib::Server> server;
    std::thread thread;
    int port = 0;
    std::vector<std::string> requests;
};

Simulator::Simulator(QString samplesFolder) : Simulator(std::move(samplesFolder), Options()) {}

Simulator::Simulator(QString samplesFolder, Options options)
    : samples_(std::move(samplesFolder)), options_(std::move(options)) {}

Simulator::~Simulator() {
    stop();
}

void Simulator::route(const QString& role, const std::string& path, Handler handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto& r = roles_[role];
    if (!r) {
        r = std::make_unique<Role>();
        r->name = role;
    }
    r->routes[path] = std::move(handler);
}

void Simulator::secure(const QString& role) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto& r = roles_[role];
    if (!r) {
        r = std::make_unique<Role>();
        r->name = role;
    }
    r->tls = true;
}

void Simulator::set_observer(Observer observer) {
    std::lock_guard<std::mutex> lock(mutex_);
    observer_ = std::move(observer);
}

void Simulator::pause_until(std::chrono::steady_clock::time_point until) {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_.wait_until(lock, until, [this] { return stopping_; });
}

void Simulator::serve(Role& role, const httplib::Request& req, httplib::Response& res) {
    // The latency counts from the request's arrival: the answer is made meanwhile.
    const auto due =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(options_.latencyMs);
    Handler handler;
    Observer observer;
    Fault fault = Fault::None;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        role.requests.push_back(req.target);
        observer = observer_;
        if (req.path.compare(0, role.faultStem.size(), role.faultStem) == 0)
            fault = role.fault;
        auto exact = role.routes.find(req.path);
        if (exact != role.routes.end()) {
            handler = exact->second;
        } else {
            // The longest prefix route that takes the path.
            size_t best = 0;
            for (const auto& [path, h] : role.routes) {
                if (path.empty() || path.back() != '*')
                    continue;
                const std::string stem = path.substr(0, path.size() - 1);
                if (req.path.compare(0, stem.size(), stem) == 0 && stem.size() >= best) {
                    best = stem.size();
                    handler = h;
                }
            }
        }
    }
    if (observer)
        observer(role.name, req.target);
    if (handler) {
        handler(req, res);
    } else {
        res.status = 404;
        res.set_content("<html><body>Not found</body></html>", "text/html");
    }
    if (fault != Fault::None)
        misbehave(fault, req, res);
    if (options_.latencyMs > 0)
        pause_until(due);
}

bool Simulator::fault_by_name(const QString& name, Fault& fault) {
    static const std::pair<const char*, Fault> names[] = {
        {"none", Fault::None},       {"refused", Fault::Refused},
        {"html", Fault::Html},       {"500", Fault::Status500},
        {"short", Fault::ShortBody}, {"length", Fault::WrongLength},
        {"reset", Fault::Reset},     {"slow", Fault::Slow},
        {"stall", Fault::Stall},     {"redirect", Fault::RedirectLoop},
        {"huge", Fault::Huge}};
    for (const auto& [n, f] : names) {
        if (name == QLatin1String(n)) {
            fault = f;
            return true;
        }
    }
    return false;
}

void Simulator::misbehave(Fault fault, const httplib::Request& req, httplib::Response& res) {
    const std::string body = res.body;
    const std::string type = res.get_header_value("Content-Type");
    auto provide = [&res, type](size_t announced,
                                std::function<bool(size_t, httplib::DataSink&)> f) {
        res.body.clear();
        res.set_content_provider(
            announced, type.empty() ? "application/octet-stream" : type,
            [f](size_t offset, size_t, httplib::DataSink& sink) { return f(offset, sink); });
    };
    switch (fault) {
    case Fault::None:
    case Fault::Refused:
        break;
    case Fault::Html:
        sim::answer_html_error(res);
        break;
    case Fault::Status500:
        sim::answer_html_error(res);
        res.status = 500;
        break;
    case Fault::ShortBody:
        res.set_content(body.substr(0, body.size() / 2), type);
        break;
    case Fault::WrongLength:
        provide(body.size() + 1000, [body](size_t offset, httplib::DataSink& sink) {
            if (offset == 0)
                sink.write(body.data(), body.size());
            return offset == 0;
        });
        break;
    case Fault::Reset:
        provide(std::max<size_t>(body.size(), 2), [body](size_t offset, httplib::DataSink& sink) {
            if (offset == 0)
                sink.write(body.data(), body.size() / 2);
            return offset == 0;
        });
        break;
    case Fault::Slow:
        pause_until(std::chrono::steady_clock::now() + std::chrono::milliseconds(options_.slowMs));
        break;
    case Fault::Stall:
        provide(std::max<size_t>(body.size(), 2),
                [this, body](size_t offset, httplib::DataSink& sink) {
                    if (offset == 0) {
                        sink.write(body.data(), body.size() / 2);
                        return true;
                    }
                    pause_until(std::chrono::steady_clock::now() +
                                std::chrono::milliseconds(options_.stallMs));
                    return false;
                });
        break;
    case Fault::RedirectLoop:
        res.set_content("", "text/html");
        res.status = 302;
        res.set_header("Location", req.target);
        break;
    case Fault::Huge: {
        const size_t total = size_t(options_.hugeBytes);
        provide(total, [total](size_t offset, httplib::DataSink& sink) {
            static const std::string block(1 << 16, 'x');
            sink.write(block.data(), std::min(block.size(), total - offset));
            return true;
        });
        break;
    }
    }
}

void Simulator::set_fault(const QString& role, Fault fault, const std::string& pathStem) {
    Role* r = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = roles_.find(role);
        if (it == roles_.end())
            return;
        r = it->second.get();
        r->faultStem = pathStem;
        if (r->fault == fault)
            return;
        r->fault = fault;
    }
    if (fault == Fault::Refused && r->server) {
        // The server goes; its port stays bound without listening, so connections to it are
        // refused, and no other program can take it meanwhile.
        const int port = r->port;
        r->server->stop();
        if (r->thread.joinable())
            r->thread.join();
        r->server.reset();
        r->refusingSocket = ::socket(AF_INET, SOCK_STREAM, 0);
        const int on = 1;
        setsockopt(r->refusingSocket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        a.sin_port = htons(uint16_t(port));
        ::bind(r->refusingSocket, reinterpret_cast<sockaddr*>(&a), sizeof a);
        r->port = port;
    } else if (fault != Fault::Refused && r->refusingSocket >= 0) {
        ::close(r->refusingSocket);
        r->refusingSocket = -1;
        std::lock_guard<std::mutex> lock(mutex_);
        start_role(*r);
    }
}

void Simulator::start() {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = false;
    for (auto& [name, role] : roles_)
        if (!role->server && role->refusingSocket < 0)
            start_role(*role);
}

void Simulator::start_role(Role& role) {
    if (role.tls) {
        if (options_.tlsCertificate.empty() || options_.tlsKey.empty() ||
            !QFileInfo::exists(QString::fromStdString(options_.tlsCertificate)) ||
            !QFileInfo::exists(QString::fromStdString(options_.tlsKey)))
            return;
        role.server = std::make_unique<httplib::SSLServer>(options_.tlsCertificate.c_str(),
                                                           options_.tlsKey.c_str());
    } else {
        role.server = std::make_unique<httplib::Server>();
    }
    // Ten page requests in flight at once, and their kept-alive connections.
    role.server->new_task_queue = [] { return new httplib::ThreadPool(48); };
    role.server->set_keep_alive_timeout(2);
    role.server->set_keep_alive_max_count(1000);
    // Headers and body go out in separate writes: without this, delayed acknowledgements
    // would add tens of milliseconds to every answer.
    role.server->set_tcp_nodelay(true);
    Role* r = &role;
    auto handle = [this, r](const httplib::Request& req, httplib::Response& res) {
        serve(*r, req, res);
    };
    role.server->Get(".*", handle);
    role.server->Post(".*", handle);
    // A role that served before keeps its port, so that the settings still point at it.
    const bool again = role.port > 0;
    role.port = again && role.server->bind_to_port("127.0.0.1", role.port)
                    ? role.port
                    : role.server->bind_to_any_port("127.0.0.1");
    if (role.port <= 0) {
        role.server.reset();
        role.port = 0;
        return;
    }
    widen_listen_queue(role.port);
    // The socket listens from here on: connections wait in its queue until the serving
    // thread takes them.
    httplib::Server* server = role.server.get();
    role.thread = std::thread([server] { server->listen_after_bind(); });
}

void Simulator::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    stopped_.notify_all();
    for (auto& [name, role] : roles_) {
        if (role->server)
            role->server->stop();
        if (role->thread.joinable())
            role->thread.join();
        role->server.reset();
        if (role->refusingSocket >= 0)
            ::close(role->refusingSocket);
        role->refusingSocket = -1;
        role->fault = Fault::None;
        role->faultStem.clear();
        role->port = 0;
    }
}

QString Simulator::host(const QString& role) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = roles_.find(role);
    if (it == roles_.end() || it->second->port <= 0)
        return {};
    return QStringLiteral("127.0.0.1:%1").arg(it->second->port);
}

QStringList Simulator::roles() const {
    std::lock_guard<std::mutex> lock(mutex_);
    QStringList list;
    for (const auto& [name, role] : roles_)
        list << name;
    return list;
}

void Simulator::write_host_roles(const QString& keyPath) const {
    CreateKey(keyPath);
    for (const QString& role : roles()) {
        const QString h = host(role);
        if (h.isEmpty())
            continue;
        WriteRegistry(keyPath, role, h);
        // The national server is also the value of its own setting.
        if (role == QLatin1String("EspacenetNationalHost"))
            WriteRegistry(keyPath, QStringLiteral("EPOSERVER"), h);
    }
}

std::vector<std::string> Simulator::requests(const QString& role) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = roles_.find(role);
    return it == roles_.end() ? std::vector<std::string>() : it->second->requests;
}

bool Simulator::should_fail(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    int& n = failures_[key];
    if (n < options_.pageFailures) {
        ++n;
        return true;
    }
    return false;
}

void add_all_roles(Simulator& sim) {
    add_company_roles(sim);
    add_espacenet_roles(sim);
    add_uspto_roles(sim);
    add_depatis_roles(sim);
    add_epoline_roles(sim);
    add_inpi_roles(sim);
    add_japan_roles(sim);
    add_jpo_translation_roles(sim);
    add_russia_roles(sim);
    add_korea_roles(sim);
    add_spain_roles(sim);
    add_canada_roles(sim);
    add_australia_roles(sim);
    add_tools_roles(sim);
    add_china_roles(sim);
    add_cn_translation_roles(sim);
}
