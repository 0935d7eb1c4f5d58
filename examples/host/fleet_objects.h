/* The state of a fleet as objects with numbers, for states over a network. The numbers are the
 * addresses of the mailboxes. */
#ifndef QZ_HOST_FLEET_OBJECTS_H
#define QZ_HOST_FLEET_OBJECTS_H

#include "fleet_state.h"

#include "Serial/CommonBufferizer.h"

#include <optional>
#include <string>
#include <vector>

/* For the side that simulates: copies the fleet's values into the objects, and adds missing
 * objects. names: of the ferries. Throws UserError. */
void putFleet(Common::CommonBufferizer& states, const FleetState& fleet,
              const std::vector<std::string>& names);

/* For the side that watches. Empty if no fleet has arrived yet. */
std::optional<FleetState> takeFleet(const Common::CommonBufferizer& states);

/* "Fulmar 512,200  Petrel 300,97" */
std::string describeFerries(const Common::CommonBufferizer& states);

#endif
