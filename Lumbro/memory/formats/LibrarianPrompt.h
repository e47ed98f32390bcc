#pragma once

#include <QString>

namespace lumbro::librarianPrompt {

/// What the model is told to be and to return.
const QString& system();
/// What it is asked to do with the text on its standard input.
const QString& instruction();

}  // namespace lumbro::librarianPrompt
