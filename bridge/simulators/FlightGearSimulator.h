// FlightGear's property server, started by `fgfs --httpd=5480`. Values are properties
// ("/a/b[2]/c"), commands are FlightGear's own, with their arguments.
//
// FlightGear tells a listener of a change, but above 20 frames a second it loses most changes, and
// while it is paused all of them. So all followed values are also asked for, at once after a write
// or a command and each second at rest. The answer also proves that FlightGear is alive.
//
// A property without a value counts as 0, as it does to FlightGear. One that isn't there is asked
// for until it is, and never created. A name that no property can have is never sent, because it
// would stop FlightGear for good.
#pragma once

#include <asio/io_context.hpp>
#include <memory>
#include <optional>
#include <string>

#include "bridge/Endpoint.h"
#include "bridge/Simulator.h"

namespace bridge {

// The context outlives the result. The usual port is 5480. onCommandUnknown is never called, since
// FlightGear doesn't say which commands it has.
std::unique_ptr<Simulator> makeFlightGear(asio::io_context& context, Endpoint endpoint);

// The name under which FlightGear reports a property: absolute, and without the index 0. nullopt:
// no property can have that name.
std::optional<std::string> propertyPath(const std::string& name);

}  // namespace bridge
