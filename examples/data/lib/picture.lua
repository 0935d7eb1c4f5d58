-- Draws a flight as an SVG picture in the style of a nautical chart: islands with their shoals, the
-- trails of the birds, the newer the brighter, and statistics below.

local svg = require "svg"
local random = require "random"
local statistics = require "statistics"

local picture = {}

local footer_height = 190
local serif = "Georgia, 'Times New Roman', 'DejaVu Serif', serif"

local function gradient(out, kind, attributes, stops)
    out:open(kind, attributes)
    for _, stop in ipairs(stops) do
        out:element("stop", { offset = stop[1], stop_color = stop[2], stop_opacity = stop[3] or 1 })
    end
    out:close()
end

local function blur(out, id, radius)
    -- The filter has an explicit region, because a blur reaches beyond the shape's own box.
    out:open("filter", { id = id, x = "-50%", y = "-50%", width = "200%", height = "200%" })
    out:element("feGaussianBlur", { stdDeviation = radius })
    out:close()
end

local function definitions(out, world)
    local colours = world.colours
    out:open("defs")
    gradient(out, "radialGradient", { id = "sea", cx = 0.42, cy = 0.45, r = 0.75 },
        { { 0, colours.sea }, { 1, colours.night } })
    gradient(out, "radialGradient", { id = "shoal" },
        { { 0.45, colours.shallow, 0.85 }, { 0.75, colours.shallow, 0.28 },
          { 1, colours.shallow, 0 } })
    blur(out, "glow", 5)
    out:open("clipPath", { id = "map" })
    out:element("rect", { width = world.width, height = world.height })
    out:close()
    out:close()
end

local function background(out, world)
    local colours = world.colours
    out:element("rect", { width = world.width, height = world.height + footer_height,
        fill = colours.night })
    out:element("rect", { width = world.width, height = world.height, fill = "url(#sea)" })
    out:open("g", { stroke = colours.faint, stroke_opacity = 0.13, stroke_width = 0.7 })
    for x = 100, world.width - 1, 100 do
        out:element("path", { d = string.format("M%d 0V%d", x, world.height) })
    end
    for y = 100, world.height - 1, 100 do
        out:element("path", { d = string.format("M0 %dH%d", y, world.width) })
    end
    out:close()
end

-- A rugged outline within the circle that the birds fly around: a circle whose radius is bent by a
-- few waves of random height.
local function outline(island, dice, scale)
    local waves = {}
    for order = 2, 7 do
        waves[order] = { height = dice:uniform() * 0.11 / math.sqrt(order),
                         phase = dice:uniform() * 2 * math.pi }
    end
    local points = {}
    for degrees = 0, 355, 5 do
        local angle = math.rad(degrees)
        local radius = 0.9
        for order = 2, 7 do
            local wave = waves[order]
            radius = radius + wave.height * (math.sin(order * angle + wave.phase) - 0.5)
        end
        radius = radius * scale * island.radius
        points[#points + 1] = string.format("%.1f %.1f",
            island.x + radius * math.cos(angle), island.y + radius * math.sin(angle))
    end
    return "M" .. table.concat(points, "L") .. "Z"
end

local function draw_island(out, island, number, colours)
    for _, scale in ipairs({ 1, 0.78, 0.56, 0.34 }) do
        local shore = scale == 1
        out:element("path", {
            d = outline(island, random.new(number * 7919), scale),
            fill = colours.land, fill_opacity = shore and 1 or 0.5,
            stroke = colours.shore, stroke_opacity = shore and 0.9 or 0.22,
            stroke_width = shore and 1.3 or 0.8, stroke_linejoin = "round",
        })
    end
end

local function draw_islands(out, world)
    for _, island in ipairs(world.islands) do
        out:element("circle", { cx = island.x, cy = island.y, r = island.radius * 1.25 + 36,
            fill = "url(#shoal)" })
        out:element("circle", { cx = island.x, cy = island.y, r = island.radius + 9, fill = "none",
            stroke = world.colours.shore, stroke_opacity = 0.3, stroke_width = 0.8,
            stroke_dasharray = "1 4" })
    end
    for number, island in ipairs(world.islands) do
        draw_island(out, island, number, world.colours)
    end
end

local function draw_names(out, world)
    out:open("g", { font_family = serif, font_style = "italic", text_anchor = "middle",
        fill = world.colours.shore, letter_spacing = 0.5,
        -- A dark rim, so that names can be read where trails cross them.
        paint_order = "stroke", stroke = world.colours.night, stroke_width = 3.5,
        stroke_opacity = 0.8 })
    for _, island in ipairs(world.islands) do
        local inside = island.radius >= 46
        out:text(island.x, inside and island.y + 5 or island.y + island.radius + 26, island.name,
            { font_size = inside and 11 + island.radius * 0.06 or 12 })
    end
    out:close()
end

local function draw_routes(out, world)
    for _, flock in ipairs(world.flocks) do
        out:open("g", { fill = "none", stroke = world.colours[flock.colour], stroke_opacity = 0.6 })
        for _, point in ipairs(flock.route) do
            out:element("circle", { cx = point.x, cy = point.y, r = 8, stroke_dasharray = "2 3" })
            out:element("circle", { cx = point.x, cy = point.y, r = 1.5 })
        end
        out:close()
    end
end

local function tenths(value)
    return math.floor(value * 10 + 0.5)
end

-- A piece of a trail as quadratic curves: through the middles of its sides, bent towards its
-- points. Whole tenths of a pixel are added up, so that rounding errors do not accumulate.
local function curve(trail, from, to)
    local function middle(point)
        return tenths((trail[2 * point - 1] + trail[2 * point + 1]) / 2),
               tenths((trail[2 * point] + trail[2 * point + 2]) / 2)
    end
    local x, y = middle(from)
    local parts = { string.format("M%g %gq", x / 10, y / 10) }
    for point = from + 1, to do
        local bend_x, bend_y = tenths(trail[2 * point - 1]) - x, tenths(trail[2 * point]) - y
        local next_x, next_y = middle(point)
        parts[#parts + 1] = string.format("%g %g %g %g",
            bend_x / 10, bend_y / 10, (next_x - x) / 10, (next_y - y) / 10)
        x, y = next_x, next_y
    end
    return table.concat(parts, " ")
end

-- A trail is drawn in pieces, from faint to bright.
local function draw_trails_of_age(out, flight, trails, age, trail_ages)
    local youth = age / trail_ages
    out:open("g", { stroke_opacity = 0.05 + 0.5 * youth * youth, stroke_width = 0.6 + 0.7 * youth })
    for bird, trail in ipairs(trails) do
        local last = #trail / 2 - 1 -- the last point that has one behind it
        local from = math.floor((age - 1) * (last - 1) / trail_ages) + 1
        local to = math.floor(age * (last - 1) / trail_ages) + 1
        if to > from then
            local flock = flight.world.flocks[flight.kind[bird]]
            out:element("path",
                { d = curve(trail, from, to), stroke = flight.world.colours[flock.colour] })
        end
    end
    out:close()
end

local function draw_trails(out, flight, trails, trail_ages)
    out:open("g", { fill = "none", stroke_linecap = "butt", style = "mix-blend-mode:screen" })
    for age = 1, trail_ages do
        draw_trails_of_age(out, flight, trails, age, trail_ages)
    end
    out:close()
end

-- A dart that points in the bird's direction.
local function dart(flight, bird)
    local vx, vy = flight.vx[bird], flight.vy[bird]
    local speed = math.max(math.sqrt(vx * vx + vy * vy), 1e-9)
    local ux, uy = vx / speed, vy / speed
    local function corner(along, across)
        return string.format("%.1f %.1f", flight.x[bird] + along * ux - across * uy,
            flight.y[bird] + along * uy + across * ux)
    end
    return "M" .. corner(7, 0) .. "L" .. corner(-4, 3.2) .. "L" .. corner(-1.8, 0)
        .. "L" .. corner(-4, -3.2) .. "Z"
end

local function draw_birds(out, flight)
    local world = flight.world
    for number, flock in ipairs(world.flocks) do
        local darts = {}
        for bird = 1, #flight.x do
            if flight.kind[bird] == number then
                darts[#darts + 1] = dart(flight, bird)
            end
        end
        local shape = table.concat(darts)
        local colour = world.colours[flock.colour]
        out:element("path", { d = shape, fill = colour, filter = "url(#glow)" })
        out:element("path",
            { d = shape, fill = world.colours.ink, stroke = colour, stroke_width = 0.8 })
    end
end

local function small_text(out, x, y, text, colours, attributes)
    attributes = attributes or {}
    attributes.font_family = attributes.font_family or serif
    attributes.font_size = attributes.font_size or 13
    attributes.fill = attributes.fill or colours.faint
    out:text(x, y, text, attributes)
end

local function draw_heading(out, flight, x, y)
    local world = flight.world
    small_text(out, x, y, world.title, world.colours,
        { font_size = 30, fill = world.colours.ink, letter_spacing = 0.6 })
    local facts = string.format("%d birds, %d islands, %d steps; seed %d",
        #flight.x, #world.islands, flight.step_count, world.seed)
    small_text(out, x, y + 27, facts, world.colours, { font_size = 14 })
    local hint = "Trails brighten towards the present; rings are the points of the routes."
    small_text(out, x, y + 47, hint, world.colours, { font_style = "italic" })
end

local function chart_line(values, box)
    local points = {}
    local interval = box.width / math.max(#values - 1, 1)
    for i, value in ipairs(values) do
        points[i] = string.format("%.1f %.1f",
            box.x + interval * (i - 1), box.y + box.height * (1 - value / box.greatest))
    end
    return "M" .. table.concat(points, "L")
end

-- One line a flock over the time of the flight, from 0 up to box.greatest; `series` holds a list of
-- values for each flock.
local function draw_chart(out, world, title, series, box)
    local colours = world.colours
    small_text(out, box.x, box.y - 14, title, colours, { fill = colours.ink })
    for i = 0, 2 do
        local y = box.y + box.height * i / 2
        out:element("path", { d = string.format("M%g %gh%g", box.x, y, box.width),
            stroke = colours.faint, stroke_opacity = 0.35, stroke_width = 0.7 })
        small_text(out, box.x - 8, y + 4, string.format("%.1f", box.greatest * (1 - i / 2)),
            colours, { font_size = 11, text_anchor = "end" })
    end
    for number, flock in ipairs(world.flocks) do
        if #series[number] > 0 then
            out:element("path", { d = chart_line(series[number], box), fill = "none",
                stroke = colours[flock.colour], stroke_width = 1.4, stroke_linejoin = "round" })
        end
    end
end

local function draw_legend(out, flight, measured, x, y)
    local world = flight.world
    local colours = world.colours
    local columns = { { 175, "birds" }, { 235, "order" }, { 295, "speed" }, { 350, "legs" } }
    for _, column in ipairs(columns) do
        small_text(out, x + column[1], y - 14, column[2], colours, { text_anchor = "end" })
    end
    for number, flock in ipairs(world.flocks) do
        local line = y + 12 + 25 * (number - 1)
        out:element("circle", { cx = x + 6, cy = line - 4, r = 5, fill = colours[flock.colour] })
        small_text(out, x + 20, line, flock.name, colours, { fill = colours.ink, font_size = 15 })
        local order = string.format("%.2f", statistics.mean(measured.order[number]))
        local speed = string.format("%.2f", statistics.mean(measured.speed[number]))
        local values = { flock.count, order, speed, flight.legs_flown[number] }
        for i, column in ipairs(columns) do
            small_text(out, x + column[1], line, values[i], colours,
                { fill = colours.ink, font_size = 14, text_anchor = "end" })
        end
    end
end

local function fastest(world)
    local greatest = 0
    for _, flock in ipairs(world.flocks) do
        greatest = math.max(greatest, flock.speed.greatest)
    end
    return greatest
end

local function draw_footer(out, flight, measured)
    local world = flight.world
    local top = world.height
    out:element("path", { d = string.format("M0 %dH%d", top, world.width),
        stroke = world.colours.shore, stroke_opacity = 0.5 })
    draw_heading(out, flight, 40, top + 62)
    draw_chart(out, world, "Order: how far they fly the same way", measured.order,
        { x = 640, y = top + 60, width = 230, height = 92, greatest = 1 })
    draw_chart(out, world, "Mean speed, pixels a step", measured.speed,
        { x = 930, y = top + 60, width = 230, height = 92, greatest = fastest(world) })
    draw_legend(out, flight, measured, 1210, top + 60)
end

-- The text of a self-contained SVG file.
-- trail_ages: the number of pieces that a trail is drawn in.
function picture.draw(world, flight, measured, trails, trail_ages)
    local out = svg.new(world.width, world.height + footer_height)
    definitions(out, world)
    background(out, world)
    out:open("g", { clip_path = "url(#map)" })
    draw_islands(out, world)
    draw_routes(out, world)
    draw_trails(out, flight, trails, trail_ages)
    draw_birds(out, flight)
    draw_names(out, world)
    out:close()
    draw_footer(out, flight, measured)
    return out:finish()
end

return picture
