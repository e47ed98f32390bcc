#pragma once

namespace lumbro {

/// The tab of a capture's page in the Library window.
enum class LibraryTab { transcript, handoffs };

}  // namespace lumbro
