#pragma once

#include "LumbroCore/Failure.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace lumbro {

/// What reading one capture into the memory came to. The counts are those of what came into the files: pages
/// that were made or changed, promises and ideas that were added, promises that were ticked.
struct MemoryPass {
    QString captureID;
    /// False when there was too little to read, or nothing new.
    bool updated = false;
    /// Another pass, perhaps of another process, is reading the capture just now.
    bool isElsewhere = false;
    qsizetype people = 0;
    qsizetype projects = 0;
    qsizetype promises = 0;
    qsizetype closedPromises = 0;
    qsizetype ideas = 0;

    bool operator==(const MemoryPass&) const = default;
};

/// What reading all unread captures came to.
struct MemoryCatchUp {
    /// Why a capture was not read, or not all of it kept.
    struct Miss {
        QString captureID;
        Failure failure;
    };

    QList<MemoryPass> passes;
    QList<Miss> misses;
    /// Captures that another pass, perhaps of another process, is reading just now.
    QStringList elsewhere;
};

}  // namespace lumbro
