#pragma once

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"

#include <QString>

namespace lumbro {

/// The first `most` items of a list that somebody else made, with a line in the log when there are more.
template <typename List>
List bounded(const List& list, qsizetype most, const QString& what) {
    if (list.size() <= most) {
        return list;
    }
    AppLog::error(u"memory"_s,
                  u"only the first %1 of %2 %3 were taken"_s.arg(most).arg(list.size()).arg(what));
    return list.first(most);
}

}  // namespace lumbro
