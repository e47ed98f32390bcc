#pragma once

#include "LumbroCore/Failure.h"

#include <QByteArray>

#include <memory>
#include <vector>

#include <gio/gio.h>

namespace lumbro::eds {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct Free {
    void operator()(gpointer memory) const { g_free(memory); }
};

/// An object of GLib that is given back when this goes.
template <typename T>
using Owned = std::unique_ptr<T, Unref>;
/// A text of GLib, likewise.
using OwnedText = std::unique_ptr<char, Free>;

inline QByteArray bytesOf(char* given) {
    const OwnedText text(given);
    return {text.get()};
}

/// The objects of a list that was given away; the list goes.
template <typename T, typename List>
std::vector<Owned<T>> taken(List* list) {
    std::vector<Owned<T>> objects;
    for (List* each = list; each != nullptr; each = each->next) {
        objects.emplace_back(static_cast<T*>(each->data));
    }
    if constexpr (std::is_same_v<List, GSList>) {
        g_slist_free(list);
    } else {
        g_list_free(list);
    }
    return objects;
}

/// Where a function of GLib says what went wrong.
class Error {
  public:
    Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { g_clear_error(&m_error); }

    GError** out() { return &m_error; }
    /// As `CalendarService` tells it.
    std::unexpected<Failure> failure() const;

  private:
    GError* m_error = nullptr;
};

}  // namespace lumbro::eds
