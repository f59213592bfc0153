// X-Plane 12's web API. Values are datarefs, "name[2]" for an element of an array; commands are
// X-Plane's own, without arguments. X-Plane 12.1.1 to 12.1.3 has values only.
//
// Names are asked for by REST, and everything else goes over one WebSocket. An id holds until
// X-Plane ends. All names are asked for again with each connection and each aircraft. Names that
// X-Plane doesn't know are asked for every few seconds, because an aircraft's own names appear some
// seconds after the aircraft. At its main menu X-Plane knows no name, and counts as not connected.
#pragma once

#include <asio/io_context.hpp>
#include <memory>

#include "bridge/Endpoint.h"
#include "bridge/Simulator.h"

namespace bridge {

// The context outlives the result. The usual port is 8086. The aircraft's names are its file's
// path, its ICAO code and its title.
std::unique_ptr<Simulator> makeXPlane(asio::io_context& context, Endpoint endpoint);

}  // namespace bridge
