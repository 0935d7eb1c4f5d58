-- The "minimal standard" random numbers of Park and Miller: small, and the same on every machine,
-- which math.random is not.

local random = {}
random.__index = random

function random.new(seed)
    return setmetatable({ state = seed }, random)
end

-- A number from 0 to 1, both excluded.
function random:uniform()
    self.state = self.state * 16807 % 2147483647
    return self.state / 2147483647
end

-- A point within the circle of radius 1, without trigonometric functions, whose last digit differs
-- between systems.
function random:disc()
    while true do
        local x, y = 2 * self:uniform() - 1, 2 * self:uniform() - 1
        if x * x + y * y <= 1 then
            return x, y
        end
    end
end

return random
