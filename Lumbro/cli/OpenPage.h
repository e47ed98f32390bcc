#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

namespace lumbro::cli {

/// Opens a page of the memory in Obsidian where that is installed and knows the library as a vault, else with
/// the desktop's own program for the file. Gives the name of what it was handed to; a failure says what to
/// do. `library` is the library's folder.
Result<QString> openPage(const QString& library, const QString& page);

}  // namespace lumbro::cli
