#pragma once

#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace httplib {
class Server;
}

// A real HTTP(S) server on 127.0.0.1 for tests: answers per path as a test tells it,
// records every request, and can drop a connection on purpose.
class LoopbackServer {
public:
    struct Request {
        std::string method;
        std::string path;   // without the query
        std::string target; // as sent: path and query (absolute form through a proxy)
        std::map<std::string, std::string> query;
        std::multimap<std::string, std::string> headers;
        std::string header(const std::string& name) const;
    };

    struct Answer {
        int status = 200;
        std::string body{};
        std::string contentType = "text/html";
        std::vector<std::pair<std::string, std::string>> headers{};
        bool dropConnection = false; // close the connection without a complete answer
        static Answer text(std::string body, int status = 200);
        static Answer bytes(std::string body, std::string contentType = "application/pdf");
        static Answer redirect(const std::string& location, int status = 302);
        static Answer drop();
    };

    using Handler = std::function<Answer(const Request&)>;

    // tls: serve https with the test certificate (trusted through ca_file()).
    explicit LoopbackServer(bool tls = false);
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    // Answers requests for this exact path (no query); later calls replace earlier ones.
    void on(const std::string& path, Handler handler);
    // Answers everything no path handler takes. Without one: 404 "not found".
    void onAny(Handler handler);

    // "127.0.0.1:port": a host role value.
    QString host() const;
    QString url(const std::string& pathAndQuery) const;

    std::vector<Request> requests() const;
    std::vector<std::string> targets() const; // the request targets, in order
    void clearRequests();
    size_t requestCount() const;

    // The CA certificate that signed the test server certificate (a PEM file).
    static QString ca_file();

private:
    Answer dispatch(const Request& r);

    bool tls_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
    int port_ = 0;
    mutable std::mutex mutex_;
    std::map<std::string, Handler> handlers_;
    Handler any_;
    std::vector<Request> requests_;
};
