#pragma once

#include "ask/SearchHit.h"
#include "ask/formats/AskThread.h"
#include "library/LinkFence.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/PromiseItem.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <limits>

namespace lumbro {

/// What there is to search, as it was at one moment. Taken on the main thread; the lists are shared, so that
/// taking it copies nothing.
struct SearchInput {
    /// Newest first.
    QList<CaptureRecord> captures;
    /// Engine id to name, for the labels of results.
    QMap<QString, QString> engineNames;
    QList<MemoryEntity> people;
    QList<MemoryEntity> projects;
    QList<PromiseItem> promises;
    QList<IdeaItem> ideas;
    QList<AskThread> threads;
    /// So many captures are given, the best ones: what a list can show. With frequent words, making the rows
    /// of all takes longer than finding them.
    qsizetype mostCaptures = std::numeric_limits<qsizetype>::max();
    /// Asked of the folders of captures that are reached through links; what it forbids is not found. Called
    /// on several threads.
    ReadGuard mayShow = {};
};

/// What a query found. All lists keep the order of the input but `captures`, whose best stand first.
struct SearchResults {
    /// A thread, and the piece of its first text in which a term occurs.
    struct Ask {
        AskThread thread;
        QString snippet;

        bool operator==(const Ask&) const = default;
    };

    QList<CaptureResult> captures;
    /// Captures that were found beside those.
    qsizetype moreCaptures = 0;
    QList<MemoryEntity> people;
    QList<MemoryEntity> projects;
    QList<PromiseItem> promises;
    QList<IdeaItem> ideas;
    QList<Ask> asks;
    /// Files of captures that are there, can't be read and so were not searched; paths, sorted.
    QStringList unreadable;

    bool operator==(const SearchResults&) const = default;
    bool isEmpty() const;
};

}  // namespace lumbro
