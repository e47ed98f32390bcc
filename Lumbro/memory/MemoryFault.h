#pragma once

#include <QString>

namespace lumbro {

/// A file or folder of the memory that is there, but cannot be read as it should.
struct MemoryFault {
    enum class Kind {
        /// It cannot be opened, is something else than it should be, or is a link that leads nowhere. What it
        /// holds is left out.
        unreadable,
        /// A page that is no UTF-8 text, or such a list without a line that can be read; it is left out.
        notText,
        /// A list with bytes that are no UTF-8 text; its lines are there, with signs in place of these.
        oddBytes,
    };

    QString path;
    Kind kind = Kind::unreadable;

    bool operator==(const MemoryFault&) const = default;
};

}  // namespace lumbro
