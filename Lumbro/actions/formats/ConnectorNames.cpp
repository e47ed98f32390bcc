#include "actions/formats/ConnectorNames.h"

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

const QStringList& deletionWords() {
    static const QStringList words{u"delete"_s, u"remove"_s,  u"archive"_s,
                                   u"trash"_s,  u"destroy"_s, u"purge"_s};
    return words;
}

QStringList deletionPatterns(const QString& prefix) {
    QStringList patterns;
    // Tool names come in all styles, "page_delete", "pageDelete" and "PAGE_DELETE", and patterns tell the
    // case apart.
    for (const QString& word : deletionWords()) {
        const QString capitalized = word.at(0).toUpper() + word.sliced(1);
        for (const QString& form : {word, capitalized, word.toUpper()}) {
            patterns << u"%1__*%2*"_s.arg(prefix, form);
        }
    }
    return patterns;
}

}  // namespace lumbro
