#include "LumbroCore/BrokenCopy.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"

#include <QFileInfo>

namespace lumbro {

bool keepBrokenCopy(const QString& path) {
    const auto bytes = readFile(path);
    if (!bytes) {
        return false;
    }
    for (int number = 1;; ++number) {
        const QString copy = path + u".broken"_s + (number == 1 ? QString() : u"-%1"_s.arg(number));
        if (!QFileInfo::exists(copy)) {
            return writeFileAtomically(copy, *bytes).has_value();
        }
        if (readFile(copy) == bytes) {
            return true;
        }
    }
}

}  // namespace lumbro
