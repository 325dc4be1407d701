#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

// The longest answer a request takes. A body that grows past it is dropped as it streams
// and the request ends as a failed one, as if the connection had broken: a runaway server
// must not exhaust the machine. Redirects are bounded as well (Qt's default of 50 hops), so
// an endless loop also ends as a failed request.
inline constexpr qint64 kMaxAnswerBytes = 512LL << 20;

// Test hook, process-wide: lowers the answer cap and caps every request's time-out (in
// seconds, also for requests without one), so that fault tests meet both limits quickly.
// Zeros restore the program's own limits. Never called by the program.
void web_test_limits(qint64 maxAnswerBytes, int maxTimeoutSeconds);

// Tells every waiter that some web control's request has ended, so that a wait for several
// requests can sleep until one of them is done.
class WebNotifier : public QObject {
    Q_OBJECT
public:
    static WebNotifier& instance();
Q_SIGNALS:
    void finished();
};

// One web control: the single HTTP client that a retriever drives. Requests look blocking
// to the caller (OpenURL) or are started and polled (Execute, StillExecuting, GetChunk);
// either way the event loop keeps running, so the window stays alive and the cancel button
// works during every wait.
//
// Answers: the body that came back, whatever the HTTP status (an error page is a body like
// any other). A transport failure, a refused or dropped connection or a time-out answers
// nothing (std::nullopt), so the caller's variable keeps its earlier value.
class WebControl : public QObject {
    Q_OBJECT
public:
    explicit WebControl(QObject* parent = nullptr);
    ~WebControl() override;

    // Properties, as the retrievers set them.
    QString URL;
    int Protocol = 4;       // always HTTP
    int AccessType = 0;     // 0 default access, 1 direct, 2 the named proxy
    QString Proxy;          // "host:port" for AccessType 2
    int RequestTimeout = 0; // seconds a request may take; 0 or less: no limit
    int RemotePort = 80;    // kept for the page slots; the URL's own port is used

    // Blocks until the answer is in, pumping events meanwhile.
    std::optional<QByteArray> OpenURL(const QString& url);
    std::optional<QByteArray> OpenURL() { return OpenURL(URL); }

    // Starts a request and returns at once.
    void Execute(const QString& url, const QString& method = QStringLiteral("GET"));
    // True while a started request has not ended.
    bool StillExecuting() const;
    // Up to size bytes of the finished answer, from where the last call stopped.
    QByteArray GetChunk(qint64 size);
    // Drops the request under way.
    void Cancel();

    // The state event: called with a state word ("connecting", "receiving", "completed",
    // "error", "cancelled") on each change of the request's state.
    std::function<void(const QString& state)> onStateChanged;

    // Loopback tests and the page slots want a manager of their own: one manager opens at
    // most six connections to a host at a time.
    QNetworkAccessManager* manager();

private:
    void start(const QString& url, const QString& method);
    void finish(QNetworkReply* reply);
    void emitState(const QString& word);

    std::unique_ptr<QNetworkAccessManager> manager_;
    QPointer<QNetworkReply> reply_;
    QTimer* timeout_ = nullptr;
    bool running_ = false;
    bool timedOut_ = false;
    bool overCap_ = false;
    bool hasAnswer_ = false;
    QByteArray answer_;
    qint64 chunkPos_ = 0;
};

// A control array of web controls (Inet2): element 0 exists from the start; the others are
// loaded for a request and unloaded when their work is done. Elements 0 to kSlots - 1.
class WebSlots {
public:
    static constexpr int kSlots = 101;
    WebSlots();
    ~WebSlots();
    WebSlots(const WebSlots&) = delete;
    WebSlots& operator=(const WebSlots&) = delete;

    // The element; one out of range is element 0. An element that isn't loaded is loaded.
    WebControl& operator[](int index);
    bool loaded(int index) const;
    void load(int index);
    // Drops the element's request and the element. Element 0 stays.
    void unload(int index);

    // Sleeps until some web control's request ends, or a quarter second has passed, running
    // the window's events meanwhile. A request that ended while the caller was busy is
    // caught by the caller's own polling before it waits again.
    static void wait_for_any();

private:
    std::unique_ptr<WebControl> slots_[kSlots];
};

// The text of a byte string, one character per byte.
inline QString latin1(const QByteArray& bytes) {
    return QString::fromLatin1(bytes);
}
