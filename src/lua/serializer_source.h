// The part of the serializer that is written in Lua. Its global functions are part of the
// interface; everything else is local.
#pragma once

namespace lua {

inline constexpr char kSerializerSource[] = R"lua(
local cache

-- Strings go out as they are, quotes included. Tables get here in the flat form only. Numbers are left
-- to __write: tostring and .. follow the locale.
function write(value)
    local kind = type(value)
    if kind == "string" then
        __write('"' .. value .. '"')
    elseif kind == "number" then
        __write(value)
    elseif kind == "boolean" then
        __write(tostring(value))
    elseif kind == "table" then
        __write("__cache[" .. cache[value] .. "]")
    else
        error("Don't know how to write " .. tostring(value), 0)
    end
end

function write_tab(count)
    __write((" "):rep(count))
end

-- Lua's compiler takes no more than 200 levels, of which its caller may have used some.
local deepest = 180

function can_pretty(root)
    local visited = {}
    local function visit(table, depth)
        if visited[table] then
            print("Cannot pretty")
            return false
        end
        if depth > deepest then
            print("Cannot pretty for depth")
            return false
        end
        visited[table] = true
        for key, value in pairs(table) do
            if type(key) ~= "number" and type(key) ~= "string" then
                print("Cannot pretty for key")
                return false
            end
            if type(value) == "table" and not visit(value, depth + 1) then
                return false
            end
        end
        return true
    end
    return visit(root, 1)
end

local function write_key(key, indent)
    if type(key) == "number" then
        __write("[")
        __write(key)
        __write("]")
    elseif type(key) ~= "string" then
        error("Unknown key type: " .. type(name), 0) -- of the global, as it always was
    elseif indent > 0 then
        __write('["' .. key .. '"]')
    else
        __write(key)
    end
end

function dopretty(table, indent)
    for key, value in pairs(table) do
        write_tab(indent)
        write_key(key, indent)
        __write(" = ")
        if type(value) == "table" then
            __write("{\n")
            dopretty(value, indent + 4)
            write_tab(indent)
            __write("}")
        else
            write(value)
        end
        if indent > 0 then
            __write(",\n")
        end
    end
end

function save_pretty(table, name)
    dopretty({[name] = table}, 0)
end

-- Numbers the table and those within reach of it, depth first; returns the last number. Those that
-- are still to be visited wait on a stack, since calls in each other would be too many.
function fill_cache(table, last)
    local waiting = {table}
    local count = 1
    while count > 0 do
        local current = waiting[count]
        waiting[count] = nil
        count = count - 1
        if not cache[current] then
            last = last + 1
            cache[current] = last
            local first = count + 1
            for key, value in pairs(current) do
                if type(key) == "table" then
                    count = count + 1
                    waiting[count] = key
                end
                if type(value) == "table" then
                    count = count + 1
                    waiting[count] = value
                end
            end
            local left, right = first, count
            while left < right do
                waiting[left], waiting[right] = waiting[right], waiting[left]
                left, right = left + 1, right - 1
            end
        end
    end
    return last
end

function output_table(table, index)
    for key, value in pairs(table) do
        __write("__cache[" .. index .. "][")
        write(key)
        __write("] = ")
        write(value)
        __write(";\n")
    end
end

local function save_flat(root, name)
    cache = {}
    local count = fill_cache(root, 0)
    __write("__cache = {}")
    __write("for i = 1, " .. count .. " do __cache[i] = {} end\n\n")
    for table, index in pairs(cache) do
        output_table(table, index)
    end
    __write(name .. " = __cache[" .. cache[root] .. "];\n")
    __write("__cache = nil;\n")
    cache = nil
end

function __serialize(table, name)
    if can_pretty(table) then
        save_pretty(table, name)
    else
        save_flat(table, name)
    end
end
)lua";

} // namespace lua
