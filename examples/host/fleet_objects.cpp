#include "fleet_objects.h"

#include "letters.h"
#include "user_error.h"

#include "Common/Factory.h"
#include "Globals.h"

#include <cstdio>

namespace {

/* The part of a fleet's state that belongs neither to a ferry nor to a harbour. */
struct SeaState {
    std::uint32_t world = 0;
    std::uint32_t frames = 0;
    double time = 0;
    std::int32_t arrivals = 0;
    LookoutState lookout;

    void serialize(Common::CommonSerializer& serializer) {
        serializer.transfer("world", world);
        serializer.transfer("frames", frames);
        serializer.transfer("time", time);
        serializer.transfer("arrivals", arrivals);
        serializer.transfer("lookout", lookout);
    }
};

struct NamedFerry {
    std::string name; // never changes, so it takes no bytes after the first state
    FerryState state;

    void serialize(Common::CommonSerializer& serializer) {
        serializer.transfer("name", name);
        serializer.transfer("state", state);
    }
};

/* Makes a value an object. */
template<class Value>
class Piece : public Common::SerializableObject {
public:
    explicit Piece(const Common::Identifier& name) : SerializableObject(name) {}

    void serialize(Common::CommonSerializer& serializer) override { value.serialize(serializer); }

    Value value;
};

constexpr char kSeaClass[] = "Sea";
constexpr char kHarbourClass[] = "Harbour";
constexpr char kFerryClass[] = "Ferry";
constexpr std::uint32_t kSea = kLookout;

template<class Value>
class PieceFactory : public Common::Factory {
public:
    explicit PieceFactory(const char* name) { addIdentifier(name); }

    Common::Identifiable* create(const Common::Identifier& name) override {
        return new Piece<Value>(name);
    }
};

const Common::Registrator seas(getRegistry, new PieceFactory<SeaState>(kSeaClass));
const Common::Registrator harbours(getRegistry, new PieceFactory<HarbourState>(kHarbourClass));
const Common::Registrator ferries(getRegistry, new PieceFactory<NamedFerry>(kFerryClass));

/* The value of the object with that number; null if there is none. */
template<class Value>
Value* find(const Common::CommonBufferizer& states, std::uint32_t number) {
    auto* const piece = dynamic_cast<Piece<Value>*>(states.get(number));
    return piece == nullptr ? nullptr : &piece->value;
}

template<class Value>
void putPiece(Common::CommonBufferizer& states, std::uint32_t number, const char* className,
              Value value) {
    if (states.get(number) == nullptr &&
        !states.add(number, Common::Ref<Common::SerializableObject>(new Piece<Value>(className)))) {
        throw UserError(states.getError());
    }
    *find<Value>(states, number) = std::move(value);
}

} // namespace

void putFleet(Common::CommonBufferizer& states, const FleetState& fleet,
              const std::vector<std::string>& names) {
    putPiece(states, kSea, kSeaClass,
             SeaState{fleet.world, fleet.frames, fleet.time, fleet.arrivals, fleet.lookout});
    std::uint32_t number = kFirstHarbour;
    for (const HarbourState& harbour : fleet.harbours) {
        putPiece(states, number++, kHarbourClass, harbour);
    }
    number = kFirstFerry;
    for (std::size_t i = 0; i < fleet.ferries.size(); ++i) {
        putPiece(states, number++, kFerryClass, NamedFerry{names[i], fleet.ferries[i]});
    }
}

std::optional<FleetState> takeFleet(const Common::CommonBufferizer& states) {
    const auto* const sea = find<SeaState>(states, kSea);
    if (sea == nullptr) {
        return std::nullopt;
    }
    FleetState fleet{sea->world, sea->frames, sea->time, sea->arrivals, {}, {}, sea->lookout};
    std::uint32_t number = kFirstHarbour;
    while (const auto* const harbour = find<HarbourState>(states, number++)) {
        fleet.harbours.push_back(*harbour);
    }
    number = kFirstFerry;
    while (const auto* const ferry = find<NamedFerry>(states, number++)) {
        fleet.ferries.push_back(ferry->state);
    }
    return fleet;
}

std::string describeFerries(const Common::CommonBufferizer& states) {
    std::string text;
    std::uint32_t number = kFirstFerry;
    while (const auto* const ferry = find<NamedFerry>(states, number++)) {
        char place[64];
        std::snprintf(place, sizeof place, " %.0f,%.0f", ferry->state.position.x,
                      ferry->state.position.y);
        text += (text.empty() ? "" : "  ") + ferry->name + place;
    }
    return text;
}
