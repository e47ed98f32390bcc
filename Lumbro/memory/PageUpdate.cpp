#include "memory/PageUpdate.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/LockedUpdate.h"

#include <QUtf8StringView>

namespace lumbro {

Result<bool> updatePage(const QString& path, const PageChange& change) {
    // A byte order mark, which some editors write, is no text and stays.
    constexpr QByteArrayView byteOrderMark = "\xEF\xBB\xBF";
    bool isText = true;
    const auto written = updateFile(path, [&](const auto& there) -> std::optional<QByteArray> {
        const QByteArray bytes = there.value_or(QByteArray());
        isText = QUtf8StringView(bytes).isValidUtf8();
        if (!isText) {
            return std::nullopt;
        }
        MarkdownDoc page = MarkdownDoc::parse(QString::fromUtf8(bytes));
        const QString before = page.render();
        if (!change(page, bytes.isEmpty()) || page.render() == before) {
            return std::nullopt;
        }
        const QByteArray rendered = page.render().toUtf8();
        return bytes.startsWith(byteOrderMark) ? byteOrderMark.toByteArray() + rendered : rendered;
    });
    if (!isText) {
        return fail(path.section(u'/', -2) + u" is no UTF-8 text and was left as it is."_s);
    }
    return written;
}

}  // namespace lumbro
