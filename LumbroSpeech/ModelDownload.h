#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

namespace lumbro::speech {

/// What to fetch and what it must turn out to be.
struct DownloadRequest {
    QUrl address;
    QString target;
    /// Expected SHA-1, lower case hexadecimal; empty when unknown.
    QString sha1;
    /// Whether nothing but https will do, as without a digest nobody else vouches for the bytes.
    bool needsHttps = false;
};

/// One file's download: into "<target>.part", from where an earlier try ended, verified, then moved into
/// place. Main thread; one run.
class ModelDownload : public std::enable_shared_from_this<ModelDownload> {
  public:
    /// Fraction done, 0 to 1.
    using Progress = std::function<void(double)>;

    /// The network must outlive the run, or cancel it before it goes.
    ModelDownload(QNetworkAccessManager& network, DownloadRequest request, Progress progress);
    ~ModelDownload();
    ModelDownload(const ModelDownload&) = delete;
    ModelDownload& operator=(const ModelDownload&) = delete;

    /// Fails with a sentence. What has come so far is kept for the next run, unless it proved to be wrong.
    Task<Result<>> run();
    /// The run fails as cancelled.
    void cancel();

  private:
    Task<Result<>> fetch();
    void request(const QUrl& address);
    Result<> outcomeOf(const QNetworkReply& reply);
    void takeHeaders(QNetworkReply& reply);
    void takeBytes(QNetworkReply& reply);
    Result<> openPart(bool isContinued);
    void stopWith(FailureKind kind, const QString& message);
    Task<Result<>> verify();
    QString name() const;
    QString partPath() const { return m_request.target + QStringLiteral(".part"); }

    QNetworkAccessManager& m_network;
    DownloadRequest m_request;
    Progress m_progress;
    QFile m_part;
    QPointer<QNetworkReply> m_reply;
    Result<> m_failure;
    /// The server's own SHA-256 of the file, where it gives one.
    QString m_sha256;
    /// Size of the whole file; 0 until the server says it.
    qint64 m_total = 0;
    bool m_isComplete = false;
};

}  // namespace lumbro::speech
