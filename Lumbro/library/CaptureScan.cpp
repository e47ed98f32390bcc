#include "library/CaptureScan.h"

#include "LumbroCore/Literals.h"
#include "library/CaptureFolder.h"
#include "library/InPieces.h"

#include <QFile>

#include <algorithm>
#include <utility>
#include <vector>

#include <fcntl.h>

namespace lumbro {

namespace {

std::vector<CaptureFileReader::Meta> readMetas(const CaptureFolder& folder) {
    std::vector<CaptureFileReader::Meta> metas(folder.names().size());
    inPieces(metas.size(), [&](Pieces& pieces) {
        CaptureFileReader reader(folder.descriptor());
        for (size_t begin = 0, end = 0; pieces.take(begin, end);) {
            for (size_t i = begin; i < end; ++i) {
                reader.setCapture(folder.names()[i]);
                metas[i] = reader.meta();
            }
        }
    });
    return metas;
}

/// The places of the captures among them, newest first.
std::vector<size_t> newestFirst(const std::vector<CaptureFileReader::Meta>& metas) {
    std::vector<std::pair<qint64, size_t>> order;
    order.reserve(metas.size());
    for (size_t i = 0; i < metas.size(); ++i) {
        if (metas[i].meta) {
            order.emplace_back(metas[i].meta->startedAt.toMSecsSinceEpoch(), i);
        }
    }
    std::ranges::sort(order, std::ranges::greater());
    std::vector<size_t> places(order.size());
    std::ranges::transform(order, places.begin(), &std::pair<qint64, size_t>::second);
    return places;
}

}  // namespace

CaptureScan scanCaptures(const QString& capturesFolder) {
    const CaptureFolder folder(capturesFolder);
    std::vector<CaptureFileReader::Meta> metas = readMetas(folder);
    const auto path = [&](size_t i) {
        return capturesFolder + u'/' + QFile::decodeName(folder.names()[i].toByteArray());
    };
    CaptureScan scan;
    for (size_t i = 0; i < metas.size(); ++i) {
        if (metas[i].isBroken) {
            scan.broken.append(path(i) + u"/meta.json"_s);
        }
    }
    const std::vector<size_t> order = newestFirst(metas);
    scan.records.reserve(std::ssize(order));
    for (const size_t i : order) {
        scan.records.append({path(i), *std::move(metas[i].meta)});
    }
    return scan;
}

CaptureSummary summarizeCapture(const CaptureRecord& record) {
    CaptureFileReader reader(AT_FDCWD);
    reader.setCapture(QFile::encodeName(record.folder));
    SummaryFacts facts = reader.stamps();
    reader.readRest(facts, nullptr);
    return {record, facts.words, handoffList(facts.handoffIds)};
}

}  // namespace lumbro
