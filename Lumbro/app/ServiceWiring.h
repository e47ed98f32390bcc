#pragma once

#include "engines/EngineInbox.h"
#include "library/model/ModelPorts.h"
#include "recording/CallDetector.h"
#include "surfaces/SetupChecks.h"

#include <memory>

namespace lumbro {

class Services;

/// The making of services whose ports lead to several others. What is passed in must outlive what is made.
namespace wiring {

std::unique_ptr<SetupChecks> setupChecks(Services& services);
std::unique_ptr<EngineInbox> engineInbox(Services& services);
std::unique_ptr<CallDetector> callDetector(Services& services);
/// Tells the model of the call in progress.
void connectCalls(ModelPorts& ports, Services& services);

}  // namespace wiring

}  // namespace lumbro
