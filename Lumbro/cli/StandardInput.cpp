#include "cli/StandardInput.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <unistd.h>

namespace lumbro::cli {

std::optional<QByteArray> readStandardInput(qint64 most) {
    QByteArray bytes;
    std::array<char, 65536> piece{};
    while (bytes.size() <= most) {
        const auto wanted = std::min(qint64(piece.size()), most + 1 - bytes.size());
        const ssize_t count = ::read(STDIN_FILENO, piece.data(), size_t(wanted));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        bytes.append(piece.data(), count);
    }
    return bytes;
}

}  // namespace lumbro::cli
