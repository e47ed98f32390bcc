#pragma once

#include <QString>

#include <functional>

namespace lumbro {

/// Says of a path whether the file or folder there may be read. An empty one lets everything be read.
using ReadGuard = std::function<bool(const QString& path)>;

/// Keeps a reader within a folder: links in it may lead to places of it alone. The folder itself may be a
/// link. Looks at the files as they are when it is asked; any thread.
class LinkFence {
  public:
    explicit LinkFence(QString root);

    /// False when a link leads from the path, or from a folder above it, out of the folder. True where there
    /// is nothing.
    bool holds(const QString& path) const;
    /// The same of everything in the folder `path`, also behind links.
    bool holdsAll(const QString& path) const;

  private:
    bool hasLink(const QString& path) const;

    QString m_root;
};

}  // namespace lumbro
