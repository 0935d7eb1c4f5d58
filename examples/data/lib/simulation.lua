-- A flock after Craig Reynolds: each bird keeps its distance, turns with its neighbours and stays
-- near them. It also follows its route and flies around islands.
--
-- Only + - * / and the square root are used. Their results are the same to the last digit on every
-- machine, so the same world gives the same flight everywhere.

local random = require "random"
local grid = require "grid"

local sqrt = math.sqrt

local sight = 42         -- how far a bird sees its neighbours
local personal_space = 15
local shore_distance = 55 -- how far from an island a bird begins to turn away
local edge_distance = 60  -- and from the edge of the world
local arrival = 70       -- how near a point of the route counts as reached

local weights = { distance = 0.35, direction = 0.09, company = 0.0022, route = 0.045,
                  island = 0.75, edge = 0.25, whim = 0.05 }

local simulation = {}
simulation.__index = simulation

local function add_bird(self, flock, number)
    local index = #self.x + 1
    local dx, dy = self.random:disc()
    local vx, vy = self.random:disc()
    self.x[index] = flock.start.x + dx * flock.start.radius
    self.y[index] = flock.start.y + dy * flock.start.radius
    self.vx[index], self.vy[index] = vx, vy
    self.ax[index], self.ay[index] = 0, 0
    self.kind[index], self.leg[index] = number, 1
end

function simulation.new(world)
    local self = setmetatable({
        world = world, step_count = 0, touches = 0, legs_flown = {},
        random = random.new(world.seed), grid = grid.new(world.width, world.height, sight),
        -- Birds, one list for each property: this takes half the time of a table for each bird.
        x = {}, y = {}, vx = {}, vy = {}, ax = {}, ay = {}, kind = {}, leg = {},
    }, simulation)
    for number, flock in ipairs(world.flocks) do
        self.legs_flown[number] = 0
        for _ = 1, flock.count do
            add_bird(self, flock, number)
        end
    end
    return self
end

-- The pull of the neighbours: away from those too near, with and towards those of its own flock.
local function flocking(self, bird)
    local xs, ys, vxs, vys, kinds = self.x, self.y, self.vx, self.vy, self.kind
    local first, following, columns = self.grid.first, self.grid.next, self.grid.columns
    local x, y, kind = xs[bird], ys[bird], kinds[bird]
    local away_x, away_y, sum_x, sum_y, sum_vx, sum_vy, company = 0, 0, 0, 0, 0, 0, 0
    local centre = self.grid:cell_of(x, y)
    for row = centre - columns, centre + columns, columns do
        for cell = row - 1, row + 1 do
            local other = first[cell]
            while other ~= 0 do
                local dx, dy = x - xs[other], y - ys[other]
                local square = dx * dx + dy * dy
                if square < sight * sight and other ~= bird then
                    if square < personal_space * personal_space then
                        local near = 1 / (square + 1)
                        away_x, away_y = away_x + dx * near, away_y + dy * near
                    end
                    if kinds[other] == kind then
                        company = company + 1
                        sum_x, sum_y = sum_x - dx, sum_y - dy
                        sum_vx, sum_vy = sum_vx + vxs[other], sum_vy + vys[other]
                    end
                end
                other = following[other]
            end
        end
    end
    local ax, ay = weights.distance * away_x, weights.distance * away_y
    if company > 0 then
        ax = ax + weights.direction * (sum_vx / company - vxs[bird])
                + weights.company * sum_x / company
        ay = ay + weights.direction * (sum_vy / company - vys[bird])
                + weights.company * sum_y / company
    end
    return ax, ay
end

-- The pull of the next point of the route; a reached point gives way to the next.
local function routing(self, bird)
    local kind = self.kind[bird]
    local route = self.world.flocks[kind].route
    local goal = route[self.leg[bird]]
    local dx, dy = goal.x - self.x[bird], goal.y - self.y[bird]
    local distance = sqrt(dx * dx + dy * dy)
    if distance < arrival then
        self.leg[bird] = self.leg[bird] % #route + 1
        self.legs_flown[kind] = self.legs_flown[kind] + 1
        return 0, 0
    end
    return weights.route * dx / distance, weights.route * dy / distance
end

-- The push of islands: away from the shore, and along it in the bird's own direction.
local function rounding(self, bird)
    local x, y, vx, vy = self.x[bird], self.y[bird], self.vx[bird], self.vy[bird]
    local ax, ay = 0, 0
    for _, island in ipairs(self.world.islands) do
        local dx, dy = x - island.x, y - island.y
        local reach = island.radius + shore_distance
        local square = dx * dx + dy * dy
        if square < reach * reach and square > 0 then
            local distance = sqrt(square)
            local urgency = (reach - distance) / shore_distance
            local push = weights.island * urgency * urgency * 0.5
            local side = (dx * vy - dy * vx >= 0) and 1 or -1
            ax = ax + push * (dx - 0.8 * side * dy) / distance
            ay = ay + push * (dy + 0.8 * side * dx) / distance
        end
    end
    return ax, ay
end

local function inward(position, length)
    if position < edge_distance then
        return weights.edge * (edge_distance - position) / edge_distance
    elseif position > length - edge_distance then
        return -weights.edge * (position - length + edge_distance) / edge_distance
    end
    return 0
end

local function steer(self, bird)
    local fx, fy = flocking(self, bird)
    local rx, ry = routing(self, bird)
    local ix, iy = rounding(self, bird)
    local wx, wy = self.random:disc()
    self.ax[bird] = fx + rx + ix + weights.whim * wx + inward(self.x[bird], self.world.width)
    self.ay[bird] = fy + ry + iy + weights.whim * wy + inward(self.y[bird], self.world.height)
end

-- A bird that reaches a shore nevertheless slides along it.
local function keep_off_land(self, bird)
    for _, island in ipairs(self.world.islands) do
        local dx, dy = self.x[bird] - island.x, self.y[bird] - island.y
        local square = dx * dx + dy * dy
        if square < island.radius * island.radius and square > 0 then
            local distance = sqrt(square)
            local nx, ny = dx / distance, dy / distance
            local speed_inward = self.vx[bird] * nx + self.vy[bird] * ny
            self.x[bird] = island.x + nx * island.radius
            self.y[bird] = island.y + ny * island.radius
            self.vx[bird] = self.vx[bird] - speed_inward * nx
            self.vy[bird] = self.vy[bird] - speed_inward * ny
            self.touches = self.touches + 1
            log.printf(log.TRACE, "step %d: bird %d touches %s", self.step_count, bird, island.name)
        end
    end
end

local function move(self, bird)
    local speeds = self.world.flocks[self.kind[bird]].speed
    local vx, vy = self.vx[bird] + self.ax[bird], self.vy[bird] + self.ay[bird]
    local speed = sqrt(vx * vx + vy * vy)
    local wanted = math.max(speeds.least, math.min(speeds.greatest, speed))
    if speed > 0 then
        vx, vy = vx * wanted / speed, vy * wanted / speed
    end
    self.vx[bird], self.vy[bird] = vx, vy
    self.x[bird], self.y[bird] = self.x[bird] + vx, self.y[bird] + vy
    keep_off_land(self, bird)
end

-- One step. Each bird decides in every second step only, which looks the same and takes half the
-- time.
function simulation:step()
    self.step_count = self.step_count + 1
    self.grid:fill(self.x, self.y)
    for bird = 1 + self.step_count % 2, #self.x, 2 do
        steer(self, bird)
    end
    for bird = 1, #self.x do
        move(self, bird)
    end
end

-- The lists that make up a flight, besides its world.
local lists = { "x", "y", "vx", "vy", "ax", "ay", "kind", "leg" }
local counters = { "step_count", "touches" }

-- Saves numbers as texts of 17 digits. Numbers in saved tables have only 14, which sometimes lose a
-- bit, so that a continued flight would differ from an uninterrupted one.
local function exact(value)
    return string.format("%.17g", value)
end

local function exact_list(values)
    local texts = {}
    for i, value in ipairs(values) do
        texts[i] = exact(value)
    end
    return texts
end

-- A table of texts from which simulation.thaw makes the same flight again.
function simulation:freeze()
    local frozen = { random = exact(self.random.state), legs_flown = exact_list(self.legs_flown) }
    for _, name in ipairs(counters) do
        frozen[name] = exact(self[name])
    end
    for _, name in ipairs(lists) do
        frozen[name] = exact_list(self[name])
    end
    return frozen
end

local function number(value, path, least, most)
    local result = tonumber(value)
    if not result or not (result >= least and result <= most) then
        error(path .. " is not a number from " .. least .. " to " .. most, 0)
    end
    return result
end

local function numbers(values, path, count)
    local result = {}
    for i = 1, count do
        local value = type(values) == "table" and values[i]
        result[i] = number(value, path .. "." .. i, -1e9, 1e9)
    end
    return result
end

-- path: for error messages about values that do not fit this world.
function simulation.thaw(world, frozen, path)
    local self = simulation.new(world)
    local count = #self.x
    for _, name in ipairs(lists) do
        self[name] = numbers(frozen[name], path .. "." .. name, count)
    end
    for _, name in ipairs(counters) do
        self[name] = number(frozen[name], path .. "." .. name, 0, 2 ^ 53)
    end
    self.legs_flown = numbers(frozen.legs_flown, path .. ".legs_flown", #world.flocks)
    self.random.state = number(frozen.random, path .. ".random", 1, 2147483646)
    for bird, kind in ipairs(self.kind) do
        local flock = world.flocks[kind]
        if not flock or not flock.route[self.leg[bird]] then
            error(path .. ".kind." .. bird .. ": no such flock, or no such leg of its route", 0)
        end
    end
    return self
end

-- A number that differs between two flights if a single bird is a sixteenth of a pixel off.
function simulation:fingerprint()
    local sum = 0
    for bird = 1, #self.x do
        local place = math.floor(self.x[bird] * 16) + 7 * math.floor(self.y[bird] * 16)
        sum = (sum * 31 + place) % 1048573
    end
    return sum
end

return simulation
