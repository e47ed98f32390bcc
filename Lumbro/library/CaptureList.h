#pragma once

#include "library/CaptureEntry.h"
#include "library/SummaryCache.h"

#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace lumbro {

class CaptureFolder;

/// All captures as a list shows them, read at once and without making a value of each: what has not changed
/// since the last list comes as it was remembered. Used by one thread; reads on two where that pays.
class CaptureList {
  public:
    /// Reads the folder. Folders in it without a `meta.json` are passed over.
    explicit CaptureList(const QString& capturesFolder);
    ~CaptureList();

    qsizetype size() const { return std::ssize(m_order); }
    /// The capture at `index` as `captureEntry` gives it. Newest first; of captures that started together the
    /// last name first. The view lives as long as this.
    QByteArrayView entry(qsizetype index) const { return m_found[m_order[size_t(index)]].entry; }
    /// The first `count` captures, or all when there are fewer.
    QList<CaptureSummary> summaries(qsizetype count) const;
    /// Paths of the `meta.json` files that are there and cannot be read as one.
    const QStringList& broken() const { return m_broken; }

  private:
    /// What was read because it was not remembered.
    struct Read {
        CaptureMeta meta;
        SummaryFacts facts;
        QByteArray entry;
    };
    /// One name in the folder; without an entry it is no capture.
    struct Found {
        QByteArrayView name;
        QByteArrayView entry;
        QByteArrayView handoffIds;
        qint64 startedAt = 0;
        int words = 0;
        std::unique_ptr<Read> read;
        bool isBroken = false;
    };

    class Reader;

    void readAll();
    void remember(qint64 begun) const;
    void sort();
    CaptureSummary summary(const Found& found) const;

    QString m_prefix;
    std::unique_ptr<CaptureFolder> m_folder;
    std::unique_ptr<SummaryCache> m_cache;
    /// In the order of the names.
    std::vector<Found> m_found;
    /// The captures' places in `m_found`, newest first.
    std::vector<size_t> m_order;
    QStringList m_broken;
};

}  // namespace lumbro
