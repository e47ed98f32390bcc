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
    /// Expected size in bytes; 0 when unknown.
    qint64 bytes = 0;
    /// Expected SHA-1, lower case hexadecimal; empty when unknown.
    QString sha1;
};

/// One file's download: into "<target>.part", from where an earlier try ended, verified, then moved into
/// place. Main thread; one run.
class ModelDownload : public std::enable_shared_from_this<ModelDownload> {
  public:
    using Progress = std::function<void(double)>;

    ModelDownload(QNetworkAccessManager& network, DownloadRequest request, Progress progress);
    ~ModelDownload();
    ModelDownload(const ModelDownload&) = delete;
    ModelDownload& operator=(const ModelDownload&) = delete;

    Task<Result<>> run();
    /// The run fails as cancelled; what has come so far is kept for the next one.
    void cancel();

  private:
    Task<Result<>> fetch();
    Result<> takeHeaders();
    void takeBytes();
    Result<> verified() const;
    QString partPath() const { return m_request.target + QStringLiteral(".part"); }

    QNetworkAccessManager& m_network;
    DownloadRequest m_request;
    Progress m_progress;
    QFile m_part;
    QPointer<QNetworkReply> m_reply;
    Result<> m_outcome;
    /// The server's own SHA-256 of the file, where it gives one.
    QString m_sha256;
    qint64 m_total = 0;
    bool m_hasHeaders = false;
    bool m_isCancelled = false;
};

}  // namespace lumbro::speech
