-- Reads text files of statements, one a line: a word and its values. Every complaint names the file
-- and the line.

local statements = {}

local Statement = {}
Statement.__index = Statement

function Statement:fail(format, ...)
    error(self.file .. ":" .. self.line .. ": " .. string.format(format, ...), 0)
end

function Statement:text(index, what)
    local value = self.values[index]
    if not value then
        self:fail("%s: %s is missing", self.word, what)
    end
    return value
end

function Statement:number(index, what, least, most)
    local text = self:text(index, what)
    local value = tonumber(text)
    if not value or not (value >= least and value <= most) then
        self:fail("%s: %s must be a number from %g to %g, not '%s'",
            self.word, what, least, most, text)
    end
    return value
end

function Statement:whole(index, what, least, most)
    local value = self:number(index, what, least, most)
    if value % 1 ~= 0 then
        self:fail("%s: %s must be a whole number, not %g", self.word, what, value)
    end
    return value
end

function Statement:expect(count)
    if #self.values ~= count then
        self:fail("%s takes %d value(s), not %d", self.word, count, #self.values)
    end
end

local function split(statement, line)
    local position = 1
    while true do
        position = line:find("%S", position)
        if not position then
            return
        end
        local first, last, value
        if line:sub(position, position) == '"' then
            first, last, value = line:find('^"([^"]*)"', position)
            if not first then
                statement:fail("a quoted text does not end on its line")
            end
        else
            first, last, value = line:find('^([^%s"]+)', position)
        end
        statement.values[#statement.values + 1] = value
        position = last + 1
    end
end

local function parse(file, number, line)
    local statement = setmetatable({ file = file, line = number, values = {} }, Statement)
    if not line:find("^%s*#") then
        split(statement, line)
    end
    statement.word = table.remove(statement.values, 1)
    return statement
end

-- An iterator over the statements of a file.
function statements.of(path)
    local file, message = io.open(path)
    if not file then
        error(message, 0)
    end
    local number = 0
    return function()
        while true do
            local line = file:read("*l")
            if not line then
                file:close()
                return nil
            end
            number = number + 1
            local statement = parse(path, number, line)
            if statement.word then
                return statement
            end
        end
    end
end

return statements
