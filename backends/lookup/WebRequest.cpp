#include "backends/lookup/WebRequest.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

namespace lookup {
namespace {

// When each host may next be asked, shared by every request of the process.
QMutex g_paceLock;
QHash<QString, qint64>& nextAllowed() {
    static QHash<QString, qint64> hosts;
    return hosts;
}
qint64 nowMs() {
    static QElapsedTimer clock = [] {
        QElapsedTimer c;
        c.start();
        return c;
    }();
    return clock.elapsed();
}

// Books the next start for a host; returns how long to wait before it.
qint64 reserve(const QString& host, qint64 spacing) {
    QMutexLocker lock(&g_paceLock);
    const qint64 now = nowMs();
    qint64& next = nextAllowed()[host];
    const qint64 start = qMax(now, next);
    next = start + spacing;
    return start - now;
}

} // namespace

WebRequest::WebRequest(QObject* parent)
    : QObject(parent), m_network(new QNetworkAccessManager(this)), m_deadline(new QTimer(this)),
      m_pace(new QTimer(this)) {
    m_deadline->setSingleShot(true);
    m_pace->setSingleShot(true);
    // A coarse timer may fire 5 % early, and the services count a second between requests.
    m_pace->setTimerType(Qt::PreciseTimer);
    connect(m_pace, &QTimer::timeout, this, &WebRequest::send);
    connect(m_deadline, &QTimer::timeout, this, [this] {
        WebReply reply;
        reply.problem = QStringLiteral("no answer within %1 seconds")
                            .arg(double(m_timeout.count()) / 1000.0, 0, 'g', 3);
        finish(reply);
    });
}

WebRequest::~WebRequest() {
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

QByteArray WebRequest::userAgent() {
    return QStringLiteral("Melvane/%1.%2 ( org.melvane.melvane )")
        .arg(MELVANE_VERSION_MAJOR)
        .arg(MELVANE_VERSION_MINOR)
        .toUtf8();
}

void WebRequest::get(const QUrl& url, std::chrono::milliseconds timeout,
                     std::chrono::milliseconds spacing) {
    abort();
    m_url = url;
    m_timeout = timeout;
    m_busy = true;
    // The time-out counts from the request's own start, not from the wait for its turn.
    const qint64 wait = reserve(url.host(), spacing.count());
    m_pace->start(int(wait));
}

void WebRequest::send() {
    QNetworkRequest request(m_url);
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent());
    request.setRawHeader("Accept", "application/json, application/octet-stream");
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    m_reply = m_network->get(request);
    m_deadline->start(int(m_timeout.count()));
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) {
        if (received > kMostBytes) {
            WebReply reply;
            reply.problem =
                QStringLiteral("the answer is larger than %1 MB").arg(kMostBytes / 1024 / 1024);
            finish(reply);
        }
    });
    connect(m_reply, &QNetworkReply::finished, this, [this] {
        WebReply reply;
        reply.status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        reply.body = m_reply->read(kMostBytes);
        // An HTTP error status is an answer; a failed connection is none.
        if (reply.status == 0)
            reply.problem = m_reply->errorString();
        finish(reply);
    });
}

void WebRequest::abort() {
    if (!m_busy)
        return;
    finish({});
    ++m_generation;
}

void WebRequest::finish(WebReply reply) {
    if (!m_busy)
        return;
    m_busy = false;
    m_pace->stop();
    m_deadline->stop();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
        m_reply = nullptr;
    }
    QMetaObject::invokeMethod(
        this,
        [this, reply, generation = m_generation] {
            if (generation == m_generation)
                Q_EMIT done(reply);
        },
        Qt::QueuedConnection);
}

} // namespace lookup
