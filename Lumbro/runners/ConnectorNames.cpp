#include "runners/ConnectorNames.h"

#include "LumbroCore/Literals.h"

#include <QRegularExpression>

namespace lumbro {

QString mcpPrefix(const QString& accountName) {
    static const QRegularExpression others(u"[^A-Za-z0-9_-]"_s);
    static const QRegularExpression runs(u"_+"_s);
    static const QRegularExpression ends(u"^_|_$"_s);
    QString name = accountName;
    name.replace(others, u"_"_s);
    if (accountName.startsWith(u"claude.ai ")) {
        name.replace(runs, u"_"_s).remove(ends);
    }
    return u"mcp__"_s + name;
}

QStringList deletionPatterns(const QString& prefix) {
    QStringList patterns;
    for (const char* word : {"delete", "remove", "archive", "trash", "destroy", "purge"}) {
        // Tool names come in both styles, "page_delete" and "pageDelete", and patterns tell the case apart.
        QString name = QString::fromLatin1(word);
        patterns << u"%1__*%2*"_s.arg(prefix, name);
        name[0] = name[0].toUpper();
        patterns << u"%1__*%2*"_s.arg(prefix, name);
    }
    return patterns;
}

}  // namespace lumbro
