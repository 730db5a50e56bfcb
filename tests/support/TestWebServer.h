#pragma once

// A small HTTP server for the look-up tests. It runs on a thread of its own, so it answers
// while the test waits for a child process. It serves what the test put under each path (a
// status, a body, a delay before the answer) and 404 elsewhere, and notes every request: its
// path with the query, its User-Agent and when it came.

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>
#include <QUrl>

class TestWebServer {
public:
    struct Response {
        int status = 200;
        QByteArray body;
        int delayMs = 0;
    };
    struct Request {
        QString path; // with the query
        QByteArray userAgent;
        qint64 atMs = 0; // since the server started
    };

    TestWebServer() {
        m_clock.start();
        m_thread.start();
        m_server = new QTcpServer;
        m_server->moveToThread(&m_thread);
        QMetaObject::invokeMethod(
            m_server,
            [this] {
                m_server->listen(QHostAddress::LocalHost, 0);
                QObject::connect(m_server, &QTcpServer::newConnection, m_server,
                                 [this] { accept(); });
            },
            Qt::BlockingQueuedConnection);
    }
    ~TestWebServer() {
        QMetaObject::invokeMethod(
            m_server, [this] { delete m_server; }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }

    // "http://127.0.0.1:PORT/base/"
    QString url(const QString& base = QStringLiteral("/")) const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(m_server->serverPort()).arg(base);
    }
    // What a path (without its query) answers.
    void serve(const QString& path, const Response& response) {
        QMutexLocker lock(&m_mutex);
        m_responses.insert(path, response);
    }
    QList<Request> requests() const {
        QMutexLocker lock(&m_mutex);
        return m_requests;
    }

private:
    void accept() {
        while (QTcpSocket* socket = m_server->nextPendingConnection()) {
            auto* received = new QByteArray;
            QObject::connect(socket, &QTcpSocket::disconnected, socket, [socket, received] {
                delete received;
                socket->deleteLater();
            });
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, received] {
                received->append(socket->readAll());
                if (!received->contains("\r\n\r\n") || received->startsWith("done"))
                    return;
                const QList<QByteArray> lines = received->split('\n');
                received->prepend("done");
                Request request;
                request.path = QString::fromUtf8(lines.value(0).split(' ').value(1));
                request.atMs = m_clock.elapsed();
                for (const QByteArray& line : lines)
                    if (line.toLower().startsWith("user-agent:"))
                        request.userAgent = line.mid(11).trimmed();
                Response response{404, "{\"error\": \"Not Found\"}", 0};
                {
                    QMutexLocker lock(&m_mutex);
                    m_requests.append(request);
                    response = m_responses.value(QUrl(request.path).path(), response);
                }
                QTimer::singleShot(response.delayMs, socket, [socket, response] {
                    socket->write(
                        QByteArrayLiteral("HTTP/1.1 ") + QByteArray::number(response.status) +
                        (response.status == 200   ? " OK"
                         : response.status == 404 ? " Not Found"
                                                  : " Error") +
                        "\r\nContent-Length: " + QByteArray::number(response.body.size()) +
                        "\r\nConnection: close\r\n\r\n" + response.body);
                    socket->disconnectFromHost();
                });
            });
        }
    }

    QThread m_thread;
    QTcpServer* m_server = nullptr;
    QElapsedTimer m_clock;
    mutable QMutex m_mutex;
    QHash<QString, Response> m_responses;
    QList<Request> m_requests;
};
