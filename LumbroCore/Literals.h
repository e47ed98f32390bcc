#pragma once

#include <QString>

namespace lumbro {

// u"text"_s is a QString made at compile time.
using namespace Qt::StringLiterals;

}  // namespace lumbro
