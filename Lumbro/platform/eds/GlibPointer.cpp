#include "platform/eds/GlibPointer.h"

#include <libecal/libecal.h>

namespace lumbro::eds {

std::unexpected<Failure> Error::failure() const {
    if (m_error == nullptr) {
        return fail(u"no reason was given"_s);
    }
    const auto isOneOf = [this](GQuark domain, auto... codes) {
        return ((m_error->domain == domain && m_error->code == int(codes)) || ...);
    };
    FailureKind kind = FailureKind::failed;
    if (isOneOf(G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        kind = FailureKind::cancelled;
    } else if (isOneOf(G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
               isOneOf(G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT, G_DBUS_ERROR_TIMED_OUT)) {
        kind = FailureKind::timedOut;
    } else if (isOneOf(G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND,
                       G_DBUS_ERROR_SPAWN_EXEC_FAILED, G_DBUS_ERROR_SPAWN_FILE_INVALID)) {
        kind = FailureKind::notInstalled;
    } else if (isOneOf(E_CAL_CLIENT_ERROR, E_CAL_CLIENT_ERROR_OBJECT_NOT_FOUND,
                       E_CAL_CLIENT_ERROR_NO_SUCH_CALENDAR)) {
        kind = FailureKind::notFound;
    }
    g_dbus_error_strip_remote_error(m_error);
    return fail(kind, QString::fromUtf8(m_error->message).simplified());
}

}  // namespace lumbro::eds
