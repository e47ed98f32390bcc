#pragma once

#include "LumbroCore/Literals.h"

#include <QMetaType>
#include <QString>

#include <optional>

namespace lumbro {

/// How a check stands.
struct PermissionState {
    enum class Kind { working, unknown, allowed, denied };

    Kind kind = Kind::unknown;
    /// How far the work is, 0 to 1, when it is known. Only while `working`.
    std::optional<double> progress{};

    bool operator==(const PermissionState&) const = default;

    static PermissionState working(std::optional<double> progress = {}) { return {Kind::working, progress}; }
    static PermissionState unknown() { return {Kind::unknown}; }
    static PermissionState allowed() { return {Kind::allowed}; }
    static PermissionState denied() { return {Kind::denied}; }

    bool isWorking() const { return kind == Kind::working; }

    /// "working", "unknown", "allowed" or "denied".
    QString name() const {
        switch (kind) {
            case Kind::working:
                return u"working"_s;
            case Kind::allowed:
                return u"allowed"_s;
            case Kind::denied:
                return u"denied"_s;
            case Kind::unknown:
                break;
        }
        return u"unknown"_s;
    }
};

}  // namespace lumbro

Q_DECLARE_METATYPE(lumbro::PermissionState)
