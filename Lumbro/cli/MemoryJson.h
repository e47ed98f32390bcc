#pragma once

#include "memory/formats/Company.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/PromiseItem.h"

#include <QDate>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>

namespace lumbro::cli {

/// The memory's values with the keys that scripts rely on.
QJsonObject memoryJson(const MemoryEntity& page);
QJsonObject memoryJson(const Company& company);
QJsonObject memoryJson(const IdeaItem& idea);
/// With what follows from the day: whether it is due, late, snoozed.
QJsonObject memoryJson(const PromiseItem& promise, QDate today);

template <typename Item>
QJsonArray memoryJson(const QList<Item>& items) {
    QJsonArray array;
    for (const Item& item : items) {
        array += memoryJson(item);
    }
    return array;
}

}  // namespace lumbro::cli
