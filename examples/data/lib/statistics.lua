-- How orderly a flock flies, sampled while the simulation runs.

local statistics = {}
statistics.__index = statistics

function statistics.new(world)
    local self = setmetatable({ order = {}, speed = {} }, statistics)
    for number = 1, #world.flocks do
        self.order[number], self.speed[number] = {}, {}
    end
    return self
end

-- Order is the length of the mean heading: 1 if all birds fly the same way, near 0 if none agree.
local function measure(simulation, number)
    local count, heading_x, heading_y, speeds = 0, 0, 0, 0
    for bird = 1, #simulation.x do
        if simulation.kind[bird] == number then
            local vx, vy = simulation.vx[bird], simulation.vy[bird]
            local speed = math.sqrt(vx * vx + vy * vy)
            count, speeds = count + 1, speeds + speed
            if speed > 0 then
                heading_x, heading_y = heading_x + vx / speed, heading_y + vy / speed
            end
        end
    end
    return math.sqrt(heading_x * heading_x + heading_y * heading_y) / count, speeds / count
end

function statistics:sample(simulation)
    for number in ipairs(self.order) do
        local order, speed = measure(simulation, number)
        table.insert(self.order[number], order)
        table.insert(self.speed[number], speed)
    end
end

function statistics.mean(values)
    local sum = 0
    for _, value in ipairs(values) do
        sum = sum + value
    end
    return #values > 0 and sum / #values or 0
end

return statistics
