#include "recording/audio/AudioArchive.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/InBackground.h"
#include "recording/audio/CafReader.h"
#include "recording/audio/M4aWriter.h"
#include "recording/audio/TrackPipeline.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro::audioArchive {

namespace {

/// One second.
constexpr size_t blockFrames = TrackPipeline::sampleRate;

Result<> copyBlocks(CafReader& reader, M4aWriter& writer) {
    std::vector<float> block(blockFrames);
    while (true) {
        const auto count = reader.read(block);
        if (!count) {
            return std::unexpected(count.error());
        }
        if (*count == 0) {
            return writer.finish();
        }
        if (const auto written = writer.write(std::span(block).first(*count)); !written) {
            return written;
        }
    }
}

/// The number of frames of the source. Makes nothing when there are none.
Result<qint64> copy(const QString& from, const QString& to) {
    CafReader reader;
    if (const auto opened = reader.open(from); !opened) {
        return std::unexpected(opened.error());
    }
    if (reader.frames() < 1) {
        return 0;
    }
    M4aWriter writer;
    if (const auto opened = writer.open(to); !opened) {
        return std::unexpected(opened.error());
    }
    if (const auto copied = copyBlocks(reader, writer); !copied) {
        return std::unexpected(copied.error());
    }
    return reader.frames();
}

/// Renames within a folder, for good: the recording is deleted after it, and a power cut may bring the two in
/// the other order to the disk.
Result<> moveOver(const QString& from, const QString& to) {
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0) {
        return fail(qt_error_string(errno));
    }
    const QByteArray folder = QFile::encodeName(QFileInfo(to).path());
    const int descriptor = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Some file systems know no such thing for folders.
    const bool synced = descriptor >= 0 && (::fsync(descriptor) == 0 || errno == EINVAL);
    const QString reason = synced ? QString() : qt_error_string(errno);
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return synced ? Result<>() : Result<>(fail(reason));
}

Result<qint64> packOrFail(const QString& caf, const QString& partial, const QString& m4a) {
    const auto frames = copy(caf, partial);
    if (!frames) {
        return frames;
    }
    if (*frames > 0) {
        if (const auto moved = moveOver(partial, m4a); !moved) {
            return std::unexpected(moved.error());
        }
    } else {
        QFile::remove(partial);
    }
    QFile recording(caf);
    if (!recording.remove()) {
        return fail(recording.errorString());
    }
    return frames;
}

}  // namespace

bool pack(const QString& caf) {
    const QFileInfo info(caf);
    const QString stem = info.path() + u'/' + info.completeBaseName();
    const QString m4a = stem + u".m4a"_s;
    const QString partial = stem + u".partial.m4a"_s;
    QFile::remove(partial);
    const auto frames = packOrFail(caf, partial, m4a);
    if (!frames) {
        QFile::remove(partial);
        AppLog::error(u"audio"_s, u"pack failed for "_s + caf + u": "_s + frames.error().message +
                                      u". The .caf is kept."_s);
        return false;
    }
    AppLog::info(u"audio"_s, u"packed "_s + QFileInfo(info.path()).fileName() + u'/' +
                                 QFileInfo(m4a).fileName() + u" seconds="_s +
                                 QString::number(*frames / TrackPipeline::sampleRate));
    return true;
}

void packAll(const QString& folder) {
    const QDir directory(folder);
    for (const QString& name : directory.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
        if (name.endsWith(u".caf"_s)) {
            pack(directory.filePath(name));
        }
    }
}

Task<> packAllInBackground(QString folder) {
    co_await inBackground([folder] {
        packAll(folder);
        return true;
    });
}

QString playableURL(const QString& folder, const QString& track) {
    for (const QString& extension : {u".m4a"_s, u".caf"_s}) {
        const QString path = QDir(folder).filePath(track + extension);
        if (QFileInfo::exists(path)) {
            return path;
        }
    }
    return {};
}

}  // namespace lumbro::audioArchive
