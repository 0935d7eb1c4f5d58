-- The example of qz_host: flocks of birds among islands, drawn as a picture.
--
-- The host gives the script two tables, `host.world` (what flies where) and `host.settings`, and reads
-- files of the mounted data for it. The host saves the global table `state` and restores it at the
-- next run, so that the flight continues.

local simulation = require "simulation"
local statistics = require "statistics"
local palette = require "palette"
local picture = require "picture"

local world, settings = host.world, host.settings

local sample_interval = 8 -- steps between two points of a trail

local function read_palette()
    local path = world.palette
    local text = host.read(path)
    if not text then
        error(world.file .. ": world.palette: there is no " .. path .. " in the data", 0)
    end
    local colours = palette.parse(text, path)
    for number, flock in ipairs(world.flocks) do
        if not colours[flock.colour] then
            error(string.format("%s: world.flocks.%d.colour: there is no '%s' in %s", world.file,
                number, flock.colour, path), 0)
        end
    end
    return colours
end

-- The world's title in a form that can be saved: the host saves source text, and escapes nothing in it.
local function plain_title()
    return (world.title:gsub('[%c"\\]', "?"))
end

-- The saved flight, or a new one.
local function begin_flight()
    if not state then
        return simulation.new(world)
    end
    if state.title ~= plain_title() or state.seed ~= world.seed then
        error(settings.state .. ": state.title: this is a flight of another world; " ..
            "--fresh begins anew", 0)
    end
    local flight = simulation.thaw(world, state, settings.state .. ": state")
    log.info("going on from step %d", flight.step_count)
    return flight
end

local function keep_flight(flight)
    state = flight:freeze()
    state.title, state.seed = plain_title(), world.seed
end

local function record(trails, flight)
    for bird = 1, #flight.x do
        local trail = trails[bird] or {}
        trail[#trail + 1], trail[#trail + 2] = flight.x[bird], flight.y[bird]
        trails[bird] = trail
    end
end

local function fly(flight)
    local measured = statistics.new(world)
    local trails = {}
    record(trails, flight)
    for step = 1, settings.steps do
        flight:step()
        if step % sample_interval == 0 then
            record(trails, flight)
            measured:sample(flight)
            host.progress(0.9 * step / settings.steps,
                string.format("step %d of %d", step, settings.steps))
        end
    end
    return measured, trails
end

local function log_results(flight, measured)
    for number, flock in ipairs(world.flocks) do
        log.info("%s: %d birds, mean order %.2f, mean speed %.2f, %d legs of their route flown",
            flock.name, flock.count, statistics.mean(measured.order[number]),
            statistics.mean(measured.speed[number]), flight.legs_flown[number])
    end
    if flight.touches > 0 then
        log.warning("birds touched a shore %d times", flight.touches)
    end
    log.info("fingerprint of the flight: %d", flight:fingerprint())
end

local function save(path, text)
    local file, message = io.open(path, "w")
    if not file then
        error(message, 0)
    end
    file:write(text)
    file:close()
    log.info("wrote %s, %d KB", path, math.ceil(#text / 1024))
    host.result(path)
end

local function main()
    if not world then
        error("there is no world to fly in; run this script with qz_host --world FILE", 0)
    end
    world.colours = read_palette()
    log.info("'%s': %d islands, %d flocks", world.title, #world.islands, #world.flocks)
    local flight = begin_flight()
    local measured, trails = fly(flight)
    log_results(flight, measured)
    host.progress(0.9, "drawing")
    save(settings.picture, picture.draw(world, flight, measured, trails, settings.trails))
    keep_flight(flight)
    host.progress(1, "done")
end

main()
