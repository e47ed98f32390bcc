#pragma once

namespace lumbro {

class Services;

/// The application in the foreground: serves the library until it is asked to end, by a signal or by the
/// desktop. Gives the process's exit status: 0, or 1 when another application serves the library already,
/// which it says on standard error. Needs a QCoreApplication.
int runApplication(Services& services);

}  // namespace lumbro
