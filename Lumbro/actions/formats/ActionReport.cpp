#include "actions/formats/ActionReport.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <ranges>

namespace lumbro {

namespace {

constexpr QStringView label = u"RESULT:";
/// Blanks, and what markdown puts around a line.
constexpr QStringView decoration = u" \t\r*`";

std::optional<ActionReport> decode(QStringView text) {
    const QJsonObject json = QJsonDocument::fromJson(text.toUtf8()).object();
    const QJsonValue status = json.value(u"status");
    const QJsonValue summary = json.value(u"summary");
    const QJsonValue items = json.value(u"items");
    const bool hasItems = !items.isUndefined() && !items.isNull();
    if (!status.isString() || !summary.isString() || (hasItems && !items.isArray())) {
        return std::nullopt;
    }
    ActionReport report{.status = status.toString(), .summary = summary.toString(), .items = {}};
    for (const QJsonValue item : items.toArray()) {
        report.items << ActionRun::Item::fromJson(item);
    }
    return report;
}

}  // namespace

std::optional<ActionReport> ActionReport::in(const QString& output) {
    std::optional<ActionReport> last;
    const auto lines = QStringView(output).split(u'\n');
    for (const QStringView line : std::views::reverse(lines)) {
        const QStringView text = trimmedOf(line, decoration);
        if (!text.startsWith(label, Qt::CaseInsensitive)) {
            continue;
        }
        const auto report = decode(trimmedOf(text.sliced(label.size()), decoration));
        if (last && report != last) {
            last->isContradicted = true;
        }
        if (!report || (last && last->isContradicted)) {
            return last;
        }
        last = report;
    }
    return last;
}

ActionRun::Status ActionReport::finalStatus() const {
    const QString word = status.toLower();
    if (word == u"failed") {
        return ActionRun::Status::failed;
    }
    const bool isShown = !items.isEmpty() && std::ranges::all_of(items, &ActionRun::Item::verified);
    return word == u"done" && isShown && !isContradicted ? ActionRun::Status::done
                                                         : ActionRun::Status::unconfirmed;
}

}  // namespace lumbro
