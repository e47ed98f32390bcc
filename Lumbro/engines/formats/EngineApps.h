#pragma once

#include <QList>
#include <QString>

#include <optional>

/// The applications that an engine can prepare work for.
namespace lumbro::EngineApps {

struct App {
    QString id;
    QString name;
    QString icon;
    /// What the user should know before choosing it.
    QString note;

    bool operator==(const App&) const = default;
};

/// This machine's own applications first.
const QList<App>& all();
/// Nothing for an application that isn't in the list; an engine may name such a one all the same.
std::optional<App> app(const QString& id);
/// The name for people of any application.
QString name(const QString& id);
/// A path with the home folder as "~".
QString tilde(const QString& path);

}  // namespace lumbro::EngineApps
