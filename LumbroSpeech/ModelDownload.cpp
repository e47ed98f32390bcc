#include "LumbroSpeech/ModelDownload.h"

#include "LumbroCore/InBackground.h"
#include "LumbroCore/Literals.h"

#include <QCoroNetworkReply>
#include <QCryptographicHash>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <memory>
#include <utility>

namespace lumbro::speech {

namespace {

constexpr int redirectLimit = 5;
constexpr int silenceLimitMs = 30'000;

int statusOf(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// The SHA-256 that some servers give as the file's tag; empty when there is none.
QString digestIn(const QNetworkReply& reply) {
    static const QRegularExpression digest(u"^\"?([0-9a-fA-F]{64})\"?$"_s);
    for (const char* header : {"x-linked-etag", "etag"}) {
        const auto match = digest.match(QString::fromLatin1(reply.rawHeader(header)));
        if (match.hasMatch()) {
            return match.captured(1).toLower();
        }
    }
    return {};
}

QString digestOf(const QString& path, QCryptographicHash::Algorithm algorithm) {
    QFile file(path);
    QCryptographicHash hash(algorithm);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? QString::fromLatin1(hash.result().toHex())
                                                                 : QString();
}

}  // namespace

ModelDownload::ModelDownload(QNetworkAccessManager& network, DownloadRequest request, Progress progress)
    : m_network(network),
      m_request(std::move(request)),
      m_progress(std::move(progress)),
      m_part(m_request.target + u".part"_s) {}

ModelDownload::~ModelDownload() = default;

QString ModelDownload::name() const {
    return QFileInfo(m_request.target).fileName();
}

void ModelDownload::cancel() {
    stopWith(FailureKind::cancelled, u"The download was cancelled."_s);
}

void ModelDownload::stopWith(FailureKind kind, const QString& message) {
    if (m_failure) {
        m_failure = fail(kind, message);
    }
    if (m_reply) {
        m_reply->abort();
    }
}

Task<Result<>> ModelDownload::run() {
    const auto self = shared_from_this();
    const auto fetched = co_await fetch();
    m_part.close();
    if (!fetched) {
        co_return fetched;
    }
    const auto verified = co_await verify();
    if (!verified) {
        // Going on from wrong bytes would only give wrong bytes again.
        QFile::remove(partPath());
        co_return verified;
    }
    if (!m_failure) {
        co_return Result<>(m_failure);
    }
    QFile::remove(m_request.target);
    if (!QFile::rename(partPath(), m_request.target)) {
        co_return fail(u"%1 could not be put into the models folder."_s.arg(name()));
    }
    co_return Result<>();
}

Task<Result<>> ModelDownload::fetch() {
    const auto self = shared_from_this();
    QUrl address = m_request.address;
    if (m_request.needsHttps && address.scheme() != u"https"_s) {
        co_return fail(
            u"%1 has no known checksum, so it is only fetched over https; give a mirror that has it."_s.arg(
                name()));
    }
    for (int hop = 0; hop <= redirectLimit; ++hop) {
        request(address);
        const std::unique_ptr<QNetworkReply, QScopedPointerDeleteLater> reply(m_reply.data());
        if (!reply->isFinished()) {
            co_await qCoro(reply.get()).waitForFinished();
        }
        const QUrl next =
            address.resolved(reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl());
        if (!isRedirect(statusOf(*reply)) || !m_failure) {
            co_return outcomeOf(*reply);
        }
        const bool isSafe = next.scheme() == u"https"_s || next.scheme() == address.scheme();
        if (!isSafe || next == address) {
            co_return fail(u"The server for %1 answers in a way that cannot be followed."_s.arg(name()));
        }
        address = next;
    }
    co_return fail(u"The server for %1 keeps sending us elsewhere."_s.arg(name()));
}

void ModelDownload::request(const QUrl& address) {
    QNetworkRequest request(address);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    // Compressed transfer would make sizes and ranges mean something else.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setTransferTimeout(silenceLimitMs);
    const qint64 have = QFileInfo(partPath()).size();
    if (have > 0) {
        request.setRawHeader("Range", "bytes=" + QByteArray::number(have) + '-');
    }
    QNetworkReply* reply = m_network.get(request);
    m_reply = reply;
    const std::weak_ptr<ModelDownload> weak = weak_from_this();
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [weak, reply] {
        if (const auto self = weak.lock()) {
            self->takeHeaders(*reply);
        }
    });
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [weak, reply] {
        if (const auto self = weak.lock()) {
            self->takeBytes(*reply);
        }
    });
}

void ModelDownload::takeHeaders(QNetworkReply& reply) {
    const QString digest = digestIn(reply);
    // The first server in a row of redirects knows the file; later ones may only tag their copy.
    if (m_sha256.isEmpty()) {
        m_sha256 = digest;
    }
    const int status = statusOf(reply);
    const auto length = reply.header(QNetworkRequest::ContentLengthHeader).toLongLong();
    static const QRegularExpression range(u"^bytes (?:(\\d+)-\\d+|\\*)/(\\d+)$"_s);
    const auto match = range.match(QString::fromLatin1(reply.rawHeader("Content-Range")));
    const qint64 have = QFileInfo(partPath()).size();
    if (status == 206 && match.hasMatch() && match.captured(1).toLongLong() == have) {
        m_total = match.captured(2).toLongLong();
        m_failure = openPart(true);
    } else if (status == 206) {
        stopWith(FailureKind::failed,
                 u"The server for %1 sends another part than was asked for."_s.arg(name()));
    } else if (status == 200) {
        m_total = length;
        m_failure = openPart(false);
    } else if (status == 416) {
        m_isComplete = match.hasMatch() && match.captured(2).toLongLong() == have;
        if (!m_isComplete) {
            QFile::remove(partPath());
        }
    }
    if (!m_failure) {
        reply.abort();
    }
}

Result<> ModelDownload::openPart(bool isContinued) {
    if (m_part.isOpen()) {
        return m_failure;
    }
    const auto mode = isContinued ? QIODevice::Append : QIODevice::Truncate;
    if (!m_part.open(QIODevice::WriteOnly | mode)) {
        return fail(u"%1 cannot be written: %2."_s.arg(partPath(), m_part.errorString()));
    }
    return {};
}

void ModelDownload::takeBytes(QNetworkReply& reply) {
    if (!m_part.isOpen()) {
        return;
    }
    const QByteArray bytes = reply.readAll();
    if (m_part.write(bytes) != bytes.size()) {
        stopWith(FailureKind::failed, u"%1 cannot be written: %2."_s.arg(partPath(), m_part.errorString()));
        return;
    }
    if (m_progress && m_total > 0) {
        m_progress(std::min(1.0, double(m_part.pos()) / double(m_total)));
    }
}

Result<> ModelDownload::outcomeOf(const QNetworkReply& reply) {
    if (!m_failure) {
        return m_failure;
    }
    const int status = statusOf(reply);
    if (status == 404) {
        return fail(FailureKind::notFound, u"The server does not have %1."_s.arg(name()));
    }
    if (status >= 400 && !m_isComplete) {
        return fail(u"The server refuses %1 (status %2)."_s.arg(name()).arg(status));
    }
    const qint64 have = m_part.isOpen() ? m_part.pos() : QFileInfo(partPath()).size();
    const bool isCut = m_total > 0 && have < m_total;
    if (!m_isComplete && (reply.error() != QNetworkReply::NoError || isCut)) {
        return fail(u"The download of %1 was interrupted: %2. Start it again to go on."_s.arg(
            name(),
            isCut && reply.error() == QNetworkReply::NoError ? u"connection closed"_s : reply.errorString()));
    }
    return {};
}

Task<Result<>> ModelDownload::verify() {
    const auto self = shared_from_this();
    if (m_total > 0 && QFileInfo(partPath()).size() != m_total) {
        co_return fail(u"%1 has another size than the server announced."_s.arg(name()));
    }
    const bool isSha1 = !m_request.sha1.isEmpty();
    const QString wanted = isSha1 ? m_request.sha1 : m_sha256;
    if (wanted.isEmpty()) {
        co_return Result<>();
    }
    const auto algorithm = isSha1 ? QCryptographicHash::Sha1 : QCryptographicHash::Sha256;
    const QString digest =
        co_await inBackground([path = partPath(), algorithm] { return digestOf(path, algorithm); });
    if (digest != wanted) {
        co_return fail(u"%1 is not the file it should be; it was removed."_s.arg(name()));
    }
    co_return Result<>();
}

}  // namespace lumbro::speech
