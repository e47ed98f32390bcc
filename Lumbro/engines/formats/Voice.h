#pragma once

#include <QString>

namespace lumbro {

/// A writing voice: samples and instructions that an engine's prompt may be given.
struct Voice {
    /// The file's name without its extension.
    QString id;
    QString name;
    QString body;

    bool operator==(const Voice&) const = default;
};

}  // namespace lumbro
