-- A small writer of SVG: collects elements and closes open ones.

local svg = {}
svg.__index = svg

local escapes = { ["&"] = "&amp;", ["<"] = "&lt;", [">"] = "&gt;", ['"'] = "&quot;" }

function svg.escape(text)
    return (tostring(text):gsub('[&<>"]', escapes))
end

function svg.new(width, height)
    local self = setmetatable({ parts = {}, open_tags = {} }, svg)
    self:add('<?xml version="1.0" encoding="UTF-8"?>\n')
    self:open("svg", { xmlns = "http://www.w3.org/2000/svg",
        viewBox = string.format("0 0 %d %d", width, height) })
    return self
end

function svg:add(text)
    self.parts[#self.parts + 1] = text
end

-- Attributes are in alphabetical order, so that the same picture gives the same file.
local function attributes_of(list)
    local names = {}
    for name in pairs(list) do
        names[#names + 1] = name
    end
    table.sort(names)
    local text = ""
    for _, name in ipairs(names) do
        local value = list[name]
        if type(value) == "number" then
            value = string.format("%.6g", value)
        end
        text = text .. " " .. name:gsub("_", "-") .. '="' .. svg.escape(value) .. '"'
    end
    return text
end

function svg:element(tag, attributes)
    self:add("<" .. tag .. attributes_of(attributes) .. "/>\n")
end

function svg:open(tag, attributes)
    self:add("<" .. tag .. attributes_of(attributes or {}) .. ">\n")
    table.insert(self.open_tags, tag)
end

function svg:close()
    self:add("</" .. table.remove(self.open_tags) .. ">\n")
end

function svg:text(x, y, text, attributes)
    attributes.x, attributes.y = x, y
    self:add("<text" .. attributes_of(attributes) .. ">" .. svg.escape(text) .. "</text>\n")
end

function svg:finish()
    while #self.open_tags > 0 do
        self:close()
    end
    return table.concat(self.parts)
end

return svg
