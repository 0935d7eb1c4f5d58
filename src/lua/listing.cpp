#include "lua/listing.h"

#include <lua.hpp>

namespace lua {

namespace {

// The upvalues are the table and the listing.
int appendName(lua_State* state) {
    auto* const listing = static_cast<Listing*>(lua_touserdata(state, lua_upvalueindex(2)));
    if (listing == nullptr) {
        return 0; // the listing is over
    }
    lua_pushstring(state, listing->name);
    const int index = ++listing->count;
    lua_rawseti(state, lua_upvalueindex(1), index);
    lua_pushinteger(state, index);
    lua_setfield(state, lua_upvalueindex(1), "n");
    return 0;
}

} // namespace

void start(Listing& listing, lua_State* state) {
    lua_pushvalue(state, -1);
    lua_pushlightuserdata(state, &listing);
    lua_pushcclosure(state, appendName, 2);
    listing = {state, lua_gettop(state), nullptr, 0, false};
}

void append(void* context, const char* name) {
    Listing& listing = *static_cast<Listing*>(context);
    if (!listing.failed) {
        listing.name = name;
        lua_pushvalue(listing.state, listing.append);
        listing.failed = lua_pcall(listing.state, 0, 0, 0) != 0;
    }
}

// Takes the listing away from the appending function, which a script may have kept by a debug hook.
void finish(Listing& listing) {
    lua_pushnil(listing.state);
    lua_setupvalue(listing.state, listing.append, 2);
    if (listing.failed) {
        lua_error(listing.state);
    }
    lua_pop(listing.state, 1);
}

} // namespace lua
