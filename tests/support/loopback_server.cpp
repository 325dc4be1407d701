#include "loopback_server.h"

#include <httplib.h>

namespace {
std::string tlsDir() {
    return std::string(BQ_SOURCE_DIR) + "/tests/support/tls/";
}
} // namespace

std::string LoopbackServer::Request::header(const std::string& name) const {
    for (const auto& [k, v] : headers)
        if (strcasecmp(k.c_str(), name.c_str()) == 0)
            return v;
    return {};
}

LoopbackServer::Answer LoopbackServer::Answer::text(std::string body, int status) {
    return {.status = status, .body = std::move(body)};
}

LoopbackServer::Answer LoopbackServer::Answer::bytes(std::string body, std::string contentType) {
    return {.body = std::move(body), .contentType = std::move(contentType)};
}

LoopbackServer::Answer LoopbackServer::Answer::redirect(const std::string& location, int status) {
    return {.status = status, .headers = {{"Location", location}}};
}

LoopbackServer::Answer LoopbackServer::Answer::drop() {
    return {.dropConnection = true};
}

QString LoopbackServer::ca_file() {
    return QString::fromStdString(tlsDir() + "ca.pem");
}

LoopbackServer::LoopbackServer(bool tls) : tls_(tls) {
    if (tls)
        server_ = std::make_unique<httplib::SSLServer>((tlsDir() + "server.pem").c_str(),
                                                       (tlsDir() + "server.key").c_str());
    else
        server_ = std::make_unique<httplib::Server>();
    // Enough workers for ten page requests in flight and their kept-alive connections.
    server_->new_task_queue = [] { return new httplib::ThreadPool(48); };
    server_->set_keep_alive_timeout(2);

    auto handle = [this](const httplib::Request& req, httplib::Response& res) {
        Request r{req.method, req.path, req.target, {}, {req.headers.begin(), req.headers.end()}};
        for (const auto& [k, v] : req.params)
            r.query[k] = v;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            requests_.push_back(r);
        }
        Answer a = dispatch(r);
        res.status = a.status;
        for (const auto& [k, v] : a.headers)
            res.set_header(k.c_str(), v);
        if (a.dropConnection) {
            // Announce a body, send a piece of it and close the connection. (A close before
            // any byte of the answer makes a client retry on a fresh connection.)
            res.set_content_provider(1000000, "text/html",
                                     [](size_t, size_t, httplib::DataSink& sink) {
                                         sink.write("<html>cut", 9);
                                         return false;
                                     });
            return;
        }
        res.set_content(a.body, a.contentType.c_str());
    };
    server_->Get(".*", handle);
    server_->Post(".*", handle);

    port_ = server_->bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_->listen_after_bind(); });
}

LoopbackServer::~LoopbackServer() {
    server_->stop();
    if (thread_.joinable())
        thread_.join();
}

LoopbackServer::Answer LoopbackServer::dispatch(const Request& r) {
    Handler h;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = handlers_.find(r.path);
        h = it != handlers_.end() ? it->second : any_;
    }
    return h ? h(r) : Answer::text("not found", 404);
}

void LoopbackServer::on(const std::string& path, Handler handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    handlers_[path] = std::move(handler);
}

void LoopbackServer::onAny(Handler handler) {
    std::lock_guard<std::mutex> lock(mutex_);
    any_ = std::move(handler);
}

QString LoopbackServer::host() const {
    return QStringLiteral("127.0.0.1:%1").arg(port_);
}

QString LoopbackServer::url(const std::string& pathAndQuery) const {
    return (tls_ ? "https://" : "http://") + host() + QString::fromStdString(pathAndQuery);
}

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::vector<std::string> LoopbackServer::targets() const {
    std::vector<std::string> t;
    for (const auto& r : requests())
        t.push_back(r.target);
    return t;
}

void LoopbackServer::clearRequests() {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
}

size_t LoopbackServer::requestCount() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_.size();
}
