#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>
#include <chrono>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

namespace lookup {

// What a web service answered: the HTTP status and body, or why there was no answer.
struct WebReply {
    int status = 0;  // 200, 404 ...; 0 when the server gave no answer
    QByteArray body; // at most kMostBytes
    QString problem; // empty when the server answered: "Connection refused", "no answer in 10 s"

    bool answered() const { return problem.isEmpty(); }
};

// One GET on a web service, asynchronous, on the thread that made the object: with the
// program's User-Agent, a bound on the whole exchange, and a pace (requests to one host
// start at least `spacing` apart in this process, as MusicBrainz asks). done() comes once per
// request, queued; never for a request that was aborted or replaced by a newer get().
class WebRequest final : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 kMostBytes = 4 * 1024 * 1024;

    explicit WebRequest(QObject* parent = nullptr);
    ~WebRequest() override;

    void get(const QUrl& url, std::chrono::milliseconds timeout,
             std::chrono::milliseconds spacing = std::chrono::milliseconds(0));
    // Ends the request at once, without done().
    void abort();

    // "Melvane/2.0 ( org.melvane.melvane )", as MusicBrainz wants a name, a version and a
    // contact.
    static QByteArray userAgent();

Q_SIGNALS:
    void done(const lookup::WebReply& reply);

private:
    void send();
    void finish(WebReply reply);

    QNetworkAccessManager* m_network;
    QNetworkReply* m_reply = nullptr;
    QTimer* m_deadline;
    QTimer* m_pace;
    QUrl m_url;
    std::chrono::milliseconds m_timeout{0};
    bool m_busy = false;
    quint64 m_generation = 0; // which request a queued done() belongs to
};

} // namespace lookup
