-- The example of qz_host: flocks of birds among islands, drawn as a picture.
--
--     qz_host flock.lua [world [picture]]
--
-- reads a world ("archipelago.txt" at the location "data" unless told otherwise), lets its flocks
-- fly, and writes an SVG picture ("flock.svg" at the location "results"). The host may offer
-- `host.progress` and `host.result`; without them the script works all the same.

local world = require "world"
local simulation = require "simulation"
local statistics = require "statistics"
local picture = require "picture"

local sample_interval = 8 -- steps between two points of a trail

local function location(name)
    for _, place in ipairs(lfs.locations()) do
        if place.name == name then
            return place.path
        end
    end
    error("there is no location '" .. name .. "'", 0)
end

local function report(fraction, text)
    if host and host.progress then
        host.progress(fraction, text)
    end
end

local function record(trails, flight)
    for bird = 1, #flight.x do
        local trail = trails[bird] or {}
        trail[#trail + 1], trail[#trail + 2] = flight.x[bird], flight.y[bird]
        trails[bird] = trail
    end
end

local function fly(described)
    local flight = simulation.new(described)
    local measured = statistics.new(described)
    local trails = {}
    record(trails, flight)
    for step = 1, described.steps do
        flight:step()
        if step % sample_interval == 0 then
            record(trails, flight)
            measured:sample(flight)
            report(0.9 * step / described.steps,
                string.format("step %d of %d", step, described.steps))
        end
    end
    return flight, measured, trails
end

local function log_results(described, flight, measured)
    for number, flock in ipairs(described.flocks) do
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
    if host and host.result then
        host.result(path)
    end
end

local function main(world_path, picture_path)
    report(0, "reading the world")
    local described = world.load(world_path or location("data") .. "archipelago.txt")
    log.info("'%s': %d islands, %d flocks", described.title, #described.islands, #described.flocks)
    local flight, measured, trails = fly(described)
    log_results(described, flight, measured)
    report(0.9, "drawing")
    save(picture_path or location("results") .. "flock.svg",
        picture.draw(described, flight, measured, trails))
    report(1, "done")
end

main(...)
