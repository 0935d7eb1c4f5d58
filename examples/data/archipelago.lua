-- The world of the example: islands, flocks and ferries. Lengths are pixels of the picture, speeds
-- pixels a step.

world = {
    title = "Three Flocks among the Skerries",
    width = 1600, height = 900,
    seed = 1847,
    palette = "palettes/dusk.txt", -- or "palettes/dawn.txt", which is in the packed archive

    islands = {
        { name = "Grey Stack",     x =  330, y = 300, radius =  62, berths = 1 },
        { name = "Hog Skerry",     x =  465, y = 640, radius =  84, berths = 2 },
        { name = "Little Hog",     x =  610, y = 745, radius =  30 },
        { name = "The Anvil",      x =  700, y = 350, radius = 104, berths = 2 },
        { name = "Cormorant",      x =  872, y = 160, radius =  34 },
        { name = "Widow's Tooth",  x =  905, y = 600, radius =  58 },
        { name = "Long Holm",      x = 1120, y = 335, radius =  78, berths = 1 },
        { name = "North Light",    x = 1290, y = 165, radius =  40 },
        { name = "Sheep Isle",     x = 1195, y = 690, radius =  96, berths = 2 },
        { name = "Gull Rock",      x = 1420, y = 470, radius =  46, berths = 1 },
    },

    -- A flock starts within `start` and flies from point to point of its route, round and round;
    -- `colour` is a name of the palette.
    flocks = {
        {
            name = "Arctic terns", colour = "amber", count = 90,
            start = { x = 110, y = 780, radius = 75 },
            speed = { least = 1.9, greatest = 3.4 },
            route = {
                { 220, 480 }, { 560, 160 }, { 1000, 90 }, { 1480, 250 },
                { 1330, 560 }, { 1040, 470 }, { 740, 560 }, { 330, 830 },
            },
        },
        {
            name = "Kittiwakes", colour = "rose", count = 80,
            start = { x = 1490, y = 120, radius = 70 },
            speed = { least = 1.7, greatest = 3.0 },
            route = {
                { 1340, 330 }, { 950, 460 }, { 780, 830 }, { 300, 480 },
                { 160, 160 }, { 520, 500 }, { 1010, 810 }, { 1500, 800 },
            },
        },
        {
            name = "Puffins", colour = "aqua", count = 70,
            start = { x = 1460, y = 790, radius = 65 },
            speed = { least = 1.6, greatest = 2.8 },
            route = {
                { 1030, 800 }, { 790, 690 }, { 540, 440 }, { 420, 130 },
                { 800, 200 }, { 1010, 250 }, { 1270, 480 }, { 1530, 640 },
            },
        },
    },

    -- After the script the ferries sail from island to island, round and round, in frames of the host,
    -- and ask for berths in harbours. Speeds are pixels a second.
    ferries = {
        { name = "Selkie",       speed = 260, route = { "Hog Skerry", "Sheep Isle", "Gull Rock" } },
        { name = "Grey Pilgrim", speed = 310, route = { "Grey Stack", "The Anvil", "Long Holm" } },
        { name = "Fulmar",       speed = 220, route = { "Sheep Isle", "Long Holm", "The Anvil" } },
        { name = "Little Auk",   speed = 400, route = { "The Anvil", "Gull Rock" } },
    },
}
