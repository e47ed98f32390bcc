#pragma once

#include "actions/formats/ActionRun.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

namespace lumbro {

/// Where what a run made can be looked at. Only the web, and the links of the few known apps, are ever
/// opened: what stands in a run comes from a model.
class ActionLinks {
  public:
    /// Whether some program opens links of this scheme, such as "todoist".
    using HasHandler = std::function<bool(const QString& scheme)>;
    using Open = std::function<bool(const QUrl& url)>;

    /// Without `hasHandler` no app has links of its own.
    explicit ActionLinks(Open open, HasHandler hasHandler = {});

    bool canOpen(const ActionRun& run) const { return link(run).has_value(); }
    /// Opens it; false when there is nothing to open or it didn't.
    bool open(const ActionRun& run) const;
    /// The first item on the web, else the app itself, else its home page.
    std::optional<QUrl> link(const ActionRun& run) const;

  private:
    std::optional<QUrl> appURL(const QString& app) const;

    Open m_open;
    HasHandler m_hasHandler;
};

}  // namespace lumbro
