#include "cli/OpenPage.h"

#include "memory/Obsidian.h"
#include "platform/linux/desktop/DesktopLinks.h"

#include <QDir>
#include <QStandardPaths>

namespace lumbro::cli {

namespace {

bool isInstalled() {
    const QStringList programs = qEnvironmentVariable("PATH").split(u':', Qt::SkipEmptyParts);
    return Obsidian::isInstalled(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation),
                                 programs);
}

}  // namespace

Result<QString> openPage(const QString& library, const QString& page) {
    const Obsidian obsidian(
        {.isInstalled = isInstalled, .open = &desktopLinks::open, .start = {}, .reveal = {}}, library,
        QDir::homePath());
    switch (obsidian.open(page)) {
        case Obsidian::Outcome::opened:
            return u"Obsidian"_s;
        case Obsidian::Outcome::openedElsewhere:
            return u"the desktop"_s;
        case Obsidian::Outcome::notInVault:
            return fail(
                u"Obsidian opens a page only from a vault it knows: choose Open folder as vault there and "
                u"pick "
                "%1, once."_s.arg(library));
        case Obsidian::Outcome::failed:
            break;
    }
    return fail(u"There is no desktop that could open %1."_s.arg(page));
}

}  // namespace lumbro::cli
