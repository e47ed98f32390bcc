#pragma once

#include "library/formats/CaptureMeta.h"

#include <QDateTime>
#include <QString>

#include <optional>

namespace lumbro {

class ContextLibrary;

/// What the model is to read of a capture.
struct LibrarianInput {
    /// Empty when there is too little to spend a model's run on, or nothing new.
    QString text;
    /// For a log of chats: the time up to which it is read with this. Also given when what is new is too
    /// little, so that it is passed over for good.
    std::optional<QDateTime> through;
    /// The file that can't be read and without which there is too little; empty where there is none.
    QString brokenFile{};

    bool operator==(const LibrarianInput&) const = default;

    /// Reads the capture's files; those that are missing or can't be read count as empty.
    static LibrarianInput of(const CaptureRecord& record, const ContextLibrary& library);
};

}  // namespace lumbro
