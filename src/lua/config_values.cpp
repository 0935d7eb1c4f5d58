#include "Lua/Config.h"

#include "lua/number.h"
#include "lua/truncate.h"

#include <lua.hpp>

#include <cstddef>
#include <cstring>
#include <type_traits>

namespace Lua {

namespace {

bool convert(lua_State* state, bool* output) {
    if (!lua_isboolean(state, -1)) {
        return false;
    }
    *output = lua_toboolean(state, -1) != 0;
    return true;
}

bool convert(lua_State* state, std::string* output) {
    if (lua_type(state, -1) == LUA_TNUMBER) {
        output->assign(lua::NumberText(lua_tonumber(state, -1)).view());
        return true;
    }
    if (lua_type(state, -1) != LUA_TSTRING) {
        return false;
    }
    std::size_t length = 0;
    const char* const text = lua_tolstring(state, -1, &length);
    output->assign(text, length);
    return true;
}

template<class Number>
void assign(Number* output, lua_Number number) {
    if constexpr (std::is_floating_point_v<Number>) {
        *output = static_cast<Number>(number);
    } else if constexpr (std::is_same_v<Number, int>) {
        *output = lua::truncate<int>(number);
    } else {
        *output = static_cast<Number>(lua::truncate<std::int64_t>(number));
    }
}

bool readNumber(lua_State* state, lua_Number& number) {
    switch (lua_type(state, -1)) {
    case LUA_TNUMBER:
        number = lua_tonumber(state, -1);
        return true;
    case LUA_TSTRING:
        return lua::parseNumber(lua_tostring(state, -1), number); // ends at a zero byte, as in Lua
    default:
        return false;
    }
}

template<class Number>
bool convert(lua_State* state, Number* output) {
    lua_Number number = 0;
    if (!readNumber(state, number)) {
        return false;
    }
    assign(output, number);
    return true;
}

template<class Value>
bool convertAndPop(lua_State* state, Value* output) {
    const bool converted = convert(state, output);
    lua_pop(state, 1);
    return converted;
}

template<class Component>
bool convertEntry(lua_State* state, Component* output) {
    const bool isNumber = lua_type(state, -1) == LUA_TNUMBER;
    if (isNumber) {
        assign(output, lua_tonumber(state, -1));
    }
    lua_pop(state, 1);
    return isNumber;
}

// table -> nothing. Writes the numbers into the host's vector as an array: the library does not
// know the vector's class.
template<class Component, std::size_t count>
bool popVector(lua_State* state, Config& config, void* output) {
    Component values[count];
    bool complete = lua_istable(state, -1);
    int index = 0;
    for (Component& value : values) {
        if (complete) {
            config.get(++index);
            complete = convertEntry(state, &value);
        }
    }
    lua_pop(state, 1);
    if (complete) {
        std::memcpy(output, values, sizeof values);
    }
    return complete;
}

} // namespace

bool Config::pop(bool* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(std::string* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned char* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(int* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(float* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(double* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned short* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned int* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned long* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(osg::Vec4ub* output) {
    return popVector<unsigned char, 4>(state_, *this, output);
}

bool Config::pop(osg::Vec2f* output) {
    return popVector<float, 2>(state_, *this, output);
}

bool Config::pop(osg::Vec3d* output) {
    return popVector<double, 3>(state_, *this, output);
}

bool Config::pop(osg::Vec4d* output) {
    return popVector<double, 4>(state_, *this, output);
}

bool Config::iterate_pop(bool* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(std::string* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(unsigned char* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(int* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(float* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(double* output) {
    return convert(state_, output);
}

} // namespace Lua
