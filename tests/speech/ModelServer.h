#pragma once

#include "LumbroCore/Literals.h"

#include <QByteArray>
#include <QHash>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <functional>

namespace lumbro::test {

/// A loopback file server that behaves as well or badly as a test wants.
class ModelServer {
  public:
    ModelServer() {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (auto* socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { serve(*socket); });
            }
        });
    }

    QString address() const { return u"http://127.0.0.1:%1"_s.arg(m_server.serverPort()); }

    QByteArray content;
    QByteArray status = "200 OK";
    /// More header lines, each with its line end.
    QByteArray headers;
    /// Closes the connection after this many bytes of the body; -1 never.
    qsizetype cutAfter = -1;
    bool knowsRanges = true;
    /// "Range" headers as they came; empty for none.
    QList<QByteArray> ranges;
    QList<QByteArray> paths;

  private:
    void serve(QTcpSocket& socket) {
        const QByteArray request = socket.readAll();
        static const QRegularExpression range(u"\\r\\n[Rr]ange: bytes=(\\d+)-"_s);
        const auto match = range.match(QString::fromLatin1(request));
        paths.append(request.split(' ').value(1));
        ranges.append(match.captured(1).toLatin1());
        QByteArray line = status;
        QByteArray body = content;
        QByteArray more = headers;
        if (match.hasMatch() && knowsRanges && status.startsWith("200")) {
            const auto from = match.captured(1).toLongLong();
            const QByteArray size = QByteArray::number(content.size());
            const bool isInside = from < content.size();
            line = isInside ? "206 Partial Content" : "416 Range Not Satisfiable";
            more += "Content-Range: bytes " +
                    (isInside ? QByteArray::number(from) + '-' + QByteArray::number(content.size() - 1)
                              : QByteArray("*")) +
                    '/' + size + "\r\n";
            body = content.mid(from);
        }
        socket.write("HTTP/1.1 " + line + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" +
                     more + "Connection: close\r\n\r\n" +
                     (cutAfter >= 0 ? body.first(std::min(cutAfter, body.size())) : body));
        socket.disconnectFromHost();
    }

    QTcpServer m_server;
};

}  // namespace lumbro::test
