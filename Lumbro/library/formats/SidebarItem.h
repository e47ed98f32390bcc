#pragma once

#include <QString>

#include <optional>

namespace lumbro {

/// A page of the Library window, and so a place in the library that something can point at.
struct SidebarItem {
    enum class Kind {
        capture,
        person,
        project,
        company,
        today,
        ask,
        promises,
        ideas,
        engines,
        people,
        companies,
    };

    Kind kind = Kind::today;
    /// Folder name of a capture, slug of a person or project, domain of a company; else empty.
    QString id;

    bool operator==(const SidebarItem&) const = default;

    static SidebarItem capture(const QString& captureID) { return {Kind::capture, captureID}; }
    /// "capture:<folder>", "person:<slug>", "promises": the form in files and in output.
    QString token() const;
    /// The reverse of `token`. Nothing for an unknown word, or a payload that is missing or not expected.
    static std::optional<SidebarItem> fromToken(const QString& token);
};

}  // namespace lumbro
