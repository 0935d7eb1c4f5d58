-- Loads a world: its size, its islands, its flocks, and the colours to draw it in.

local statements = require "statements"

local world = {}

local colours_needed = { "night", "sea", "shallow", "land", "shore", "ink", "faint" }

local function load_colours(path)
    local colours = {}
    for statement in statements.of(path) do
        if statement.word ~= "colour" then
            statement:fail("unknown word '%s'; 'colour' is the only one here", statement.word)
        end
        statement:expect(2)
        local value = statement:text(2, "value")
        if not value:find("^#%x%x%x%x%x%x$") then
            statement:fail("a colour reads like #1f2e3d, not '%s'", value)
        end
        colours[statement:text(1, "name")] = value
    end
    for _, name in ipairs(colours_needed) do
        if not colours[name] then
            error(path .. ": the colour '" .. name .. "' is missing", 0)
        end
    end
    return colours
end

-- What may stand inside a flock.
local flock_words = {}

function flock_words.colour(flock, statement)
    statement:expect(1)
    flock.colour = statement:text(1, "name")
end

function flock_words.count(flock, statement)
    statement:expect(1)
    flock.count = statement:whole(1, "number of birds", 1, 5000)
end

function flock_words.start(flock, statement)
    statement:expect(3)
    flock.start = {
        x = statement:number(1, "x", 0, flock.world.width),
        y = statement:number(2, "y", 0, flock.world.height),
        radius = statement:number(3, "radius", 1, 1000),
    }
end

function flock_words.speed(flock, statement)
    statement:expect(2)
    local least = statement:number(1, "least speed", 0.1, 20)
    flock.speed = { least = least, greatest = statement:number(2, "greatest speed", least, 20) }
end

function flock_words.route(flock, statement)
    if #statement.values < 2 or #statement.values % 2 == 1 then
        statement:fail("route takes pairs of x and y")
    end
    flock.route = {}
    for i = 1, #statement.values, 2 do
        table.insert(flock.route, {
            x = statement:number(i, "x", 0, flock.world.width),
            y = statement:number(i + 1, "y", 0, flock.world.height),
        })
    end
end

local flock_needs = { "colour", "count", "start", "speed", "route" }

local function finish_flock(flock, statement)
    for _, word in ipairs(flock_needs) do
        if not flock[word] then
            statement:fail("the flock '%s' has no %s", flock.name, word)
        end
    end
    flock.world = nil
end

local function load_flock(self, opening, following)
    opening:expect(1)
    local flock = { name = opening:text(1, "name"), world = self }
    for statement in following do
        if statement.word == "end" then
            finish_flock(flock, statement)
            return flock
        end
        local read = flock_words[statement.word]
        if not read then
            statement:fail("unknown word '%s' in the flock '%s'", statement.word, flock.name)
        end
        read(flock, statement)
    end
    opening:fail("the flock '%s' has no end", flock.name)
end

-- What may stand at the outermost level.
local words = {}

function words.title(self, statement)
    statement:expect(1)
    self.title = statement:text(1, "title")
end

function words.size(self, statement)
    statement:expect(2)
    self.width = statement:whole(1, "width", 200, 10000)
    self.height = statement:whole(2, "height", 200, 10000)
end

function words.steps(self, statement)
    statement:expect(1)
    self.steps = statement:whole(1, "number of steps", 1, 100000)
end

function words.seed(self, statement)
    statement:expect(1)
    self.seed = statement:whole(1, "seed", 1, 2147483646)
end

function words.colours(self, statement)
    statement:expect(1)
    self.colours = load_colours(self.directory .. statement:text(1, "file"))
end

function words.island(self, statement)
    statement:expect(4)
    table.insert(self.islands, {
        name = statement:text(1, "name"),
        x = statement:number(2, "x", 0, self.width),
        y = statement:number(3, "y", 0, self.height),
        radius = statement:number(4, "radius", 1, 1000),
    })
end

function words.flock(self, statement, following)
    local flock = load_flock(self, statement, following)
    if not self.colours or not self.colours[flock.colour] then
        statement:fail("the flock '%s' has an unknown colour '%s'", flock.name, flock.colour)
    end
    table.insert(self.flocks, flock)
end

-- Throws a text that names the file and the line of what is wrong.
function world.load(path)
    local self = {
        title = "Untitled", width = 1600, height = 900, steps = 1000, seed = 1,
        directory = path:match("^(.*[/\\])") or "",
        islands = {}, flocks = {},
    }
    local following = statements.of(path)
    for statement in following do
        local read = words[statement.word]
        if not read then
            statement:fail("unknown word '%s'", statement.word)
        end
        read(self, statement, following)
    end
    if not self.colours or #self.flocks == 0 then
        error(path .. ": a world needs colours and at least one flock", 0)
    end
    return self
end

return world
