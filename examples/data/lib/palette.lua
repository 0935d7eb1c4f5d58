-- Reads the colours of a picture: lines of "colour NAME #RRGGBB". Error messages name file and line.

local palette = {}

local needed = { "night", "sea", "shallow", "land", "shore", "ink", "faint" }

local function fail(path, line, format, ...)
    error(string.format("%s:%d: " .. format, path, line, ...), 0)
end

local function read_line(colours, path, number, line)
    local word, name, value = line:match("^%s*(%S+)%s+(%S+)%s+(%S+)%s*$")
    if word ~= "colour" then
        fail(path, number, "a line reads like: colour sea #10304a")
    elseif not value:find("^#%x%x%x%x%x%x$") then
        fail(path, number, "a colour reads like #1f2e3d, not '%s'", value)
    end
    colours[name] = value
end

-- path: for error messages.
function palette.parse(text, path)
    local colours, number = {}, 0
    for line in text:gmatch("([^\r\n]*)\r?\n?") do
        number = number + 1
        if line:find("%S") and not line:find("^%s*#") then
            read_line(colours, path, number, line)
        end
    end
    for _, name in ipairs(needed) do
        if not colours[name] then
            error(path .. ": the colour '" .. name .. "' is missing", 0)
        end
    end
    return colours
end

return palette
