#include "foundation/web_control.h"

#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTimer>
#include <QUrl>

#include <algorithm>

namespace {

// What the network layer may hold of a body before the control takes it over.
constexpr qint64 kReadBufferBytes = 1 << 20;

qint64 testAnswerCap = 0;
int testTimeoutCap = 0;

qint64 answerCap() {
    return testAnswerCap > 0 ? testAnswerCap : kMaxAnswerBytes;
}

// The time-out of a request in seconds, 0 for none.
int effectiveTimeout(int requestTimeout) {
    if (testTimeoutCap <= 0)
        return requestTimeout;
    return requestTimeout > 0 ? std::min(requestTimeout, testTimeoutCap) : testTimeoutCap;
}

// Whether a finished reply brought an answer. A server's error page is an answer; a broken
// transport, a refused or dropped connection, a proxy failure or a time-out is none.
bool isAnswer(const QNetworkReply* reply) {
    const QNetworkReply::NetworkError e = reply->error();
    if (e == QNetworkReply::NoError)
        return true;
    const int code = int(e);
    const bool content = code >= 201 && code <= 299; // 4xx answers with a body
    const bool server = code >= 401 && code <= 499;  // 5xx answers with a body
    return (content || server) &&
           reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
}

QNetworkProxy proxyFor(int accessType, const QString& proxy) {
    switch (accessType) {
    case 1:
        return QNetworkProxy(QNetworkProxy::NoProxy);
    case 2: {
        QString p = proxy.trimmed();
        if (p.contains(QLatin1String("://")))
            p = p.mid(p.indexOf(QLatin1String("://")) + 3);
        while (p.endsWith(QLatin1Char('/')))
            p.chop(1);
        const int colon = p.lastIndexOf(QLatin1Char(':'));
        QString host = p;
        quint16 port = 80;
        if (colon > 0) {
            bool ok = false;
            const uint n = p.mid(colon + 1).toUInt(&ok);
            if (ok && n > 0 && n < 65536) {
                port = quint16(n);
                host = p.left(colon);
            }
        }
        if (host.isEmpty())
            return QNetworkProxy(QNetworkProxy::NoProxy);
        return QNetworkProxy(QNetworkProxy::HttpProxy, host, port);
    }
    default:
        return QNetworkProxy(QNetworkProxy::DefaultProxy);
    }
}

// The system's authorities, plus the PEM file named by BRIGHTQUILL_CA_FILE.
QSslConfiguration sslConfiguration() {
    QSslConfiguration conf = QSslConfiguration::defaultConfiguration();
    const QString caFile = qEnvironmentVariable("BRIGHTQUILL_CA_FILE");
    if (!caFile.isEmpty()) {
        const QList<QSslCertificate> extra = QSslCertificate::fromPath(caFile, QSsl::Pem);
        if (!extra.isEmpty())
            conf.addCaCertificates(extra);
    }
    return conf;
}

} // namespace

void web_test_limits(qint64 maxAnswerBytes, int maxTimeoutSeconds) {
    testAnswerCap = maxAnswerBytes;
    testTimeoutCap = maxTimeoutSeconds;
}

WebNotifier& WebNotifier::instance() {
    static WebNotifier notifier;
    return notifier;
}

WebControl::WebControl(QObject* parent) : QObject(parent) {}

WebControl::~WebControl() {
    if (reply_) {
        reply_->disconnect(this);
        reply_->abort();
        reply_->deleteLater();
    }
}

QNetworkAccessManager* WebControl::manager() {
    if (!manager_)
        manager_ = std::make_unique<QNetworkAccessManager>();
    return manager_.get();
}

void WebControl::emitState(const QString& word) {
    if (onStateChanged)
        onStateChanged(word);
}

void WebControl::start(const QString& url, const QString& method) {
    Cancel();
    URL = url;
    answer_.clear();
    chunkPos_ = 0;
    hasAnswer_ = false;
    timedOut_ = false;
    overCap_ = false;

    const QUrl qurl(url, QUrl::TolerantMode);
    QNetworkRequest request(qurl);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setRawHeader("User-Agent", "Brightquill Desktop");
    // The prefix "userid:password@" in front of a host is sent as credentials right away.
    if (!qurl.userName().isEmpty()) {
        const QByteArray pair = (qurl.userName() + QLatin1Char(':') + qurl.password()).toUtf8();
        request.setRawHeader("Authorization", "Basic " + pair.toBase64());
    }
    if (qurl.scheme() == QLatin1String("https"))
        request.setSslConfiguration(sslConfiguration());

    QNetworkAccessManager* nam = manager();
    nam->setProxy(proxyFor(AccessType, Proxy));

    running_ = true;
    emitState(QStringLiteral("Connecting"));
    QNetworkReply* reply =
        nam->sendCustomRequest(request, method.toLatin1().isEmpty() ? "GET" : method.toLatin1());
    reply_ = reply;
    connect(reply, &QNetworkReply::metaDataChanged, this,
            [this] { emitState(QStringLiteral("ResponseReceived")); });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finish(reply); });
    // The body is taken over as it streams in, through a small read buffer, so that the
    // network layer never holds more than that buffer: a body past the cap, or announced
    // past it, ends the request with no more than the cap kept.
    reply->setReadBufferSize(kReadBufferBytes);
    auto take = [this, reply] {
        if (reply != reply_ || overCap_)
            return;
        const qint64 announced = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        answer_ += reply->readAll();
        if (std::max<qint64>(answer_.size(), announced) > answerCap()) {
            overCap_ = true;
            answer_.clear();
            reply->abort();
        }
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, take);
    connect(reply, &QNetworkReply::readyRead, this, take);
    // Whatever a redirecting answer carried is not part of the answer.
    connect(reply, &QNetworkReply::redirected, this, [this] { answer_.clear(); });

    const int timeout = effectiveTimeout(RequestTimeout);
    if (timeout > 0) {
        if (!timeout_) {
            timeout_ = new QTimer(this);
            timeout_->setSingleShot(true);
            connect(timeout_, &QTimer::timeout, this, [this] {
                if (reply_) {
                    timedOut_ = true;
                    reply_->abort();
                }
            });
        }
        timeout_->start(timeout * 1000);
    }
}

void WebControl::finish(QNetworkReply* reply) {
    if (reply != reply_)
        return;
    if (timeout_)
        timeout_->stop();
    hasAnswer_ = !timedOut_ && !overCap_ && isAnswer(reply);
    if (hasAnswer_)
        answer_ += reply->readAll();
    else
        answer_.clear();
    // A connection closed before the announced length arrived is a dropped connection,
    // even where the network layer lets the cut answer pass as complete.
    const QVariant announced = reply->header(QNetworkRequest::ContentLengthHeader);
    if (hasAnswer_ && announced.isValid() && !reply->hasRawHeader("Content-Encoding") &&
        answer_.size() < announced.toLongLong()) {
        hasAnswer_ = false;
        answer_.clear();
    }
    chunkPos_ = 0;
    // A failed connection is not kept for the next request: a retry starts afresh.
    if (!hasAnswer_ && manager_)
        manager_->clearConnectionCache();
    reply_ = nullptr;
    reply->deleteLater();
    running_ = false;
    emitState(hasAnswer_ ? QStringLiteral("ResponseCompleted") : QStringLiteral("Error"));
    Q_EMIT WebNotifier::instance().finished();
}

std::optional<QByteArray> WebControl::OpenURL(const QString& url) {
    start(url, QStringLiteral("GET"));
    if (running_) {
        QEventLoop loop;
        QMetaObject::Connection c =
            connect(&WebNotifier::instance(), &WebNotifier::finished, &loop, [this, &loop] {
                if (!running_)
                    loop.quit();
            });
        if (running_)
            loop.exec();
        disconnect(c);
    }
    if (!hasAnswer_)
        return std::nullopt;
    QByteArray body = answer_;
    answer_.clear();
    return body;
}

void WebControl::Execute(const QString& url, const QString& method) {
    start(url, method);
}

bool WebControl::StillExecuting() const {
    return running_;
}

QByteArray WebControl::GetChunk(qint64 size) {
    if (running_ || size <= 0 || chunkPos_ >= answer_.size())
        return {};
    const QByteArray chunk = answer_.mid(chunkPos_, size);
    chunkPos_ += chunk.size();
    return chunk;
}

void WebControl::Cancel() {
    if (timeout_)
        timeout_->stop();
    if (reply_) {
        QNetworkReply* reply = reply_;
        reply_ = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
        if (running_) {
            running_ = false;
            hasAnswer_ = false;
            emitState(QStringLiteral("Cancelled"));
            Q_EMIT WebNotifier::instance().finished();
        }
    }
    running_ = false;
}

WebSlots::WebSlots() {
    slots_[0] = std::make_unique<WebControl>();
}

WebSlots::~WebSlots() = default;

WebControl& WebSlots::operator[](int index) {
    if (index < 0 || index >= kSlots)
        index = 0;
    load(index);
    return *slots_[index];
}

bool WebSlots::loaded(int index) const {
    return index >= 0 && index < kSlots && slots_[index] != nullptr;
}

void WebSlots::load(int index) {
    if (index >= 0 && index < kSlots && !slots_[index])
        slots_[index] = std::make_unique<WebControl>();
}

void WebSlots::unload(int index) {
    if (index > 0 && index < kSlots && slots_[index]) {
        slots_[index]->Cancel();
        // The element may be unloaded from inside its own finish handling: let the event
        // loop delete it.
        slots_[index].release()->deleteLater();
    }
}

void WebSlots::wait_for_any() {
    QEventLoop loop;
    QObject::connect(&WebNotifier::instance(), &WebNotifier::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(250, &loop, &QEventLoop::quit);
    loop.exec();
}
