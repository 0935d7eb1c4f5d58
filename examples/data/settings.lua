-- The settings of qz_host, for what its command line leaves open. Pure data: no functions can be
-- called here. A setting that is left out has the value given here.

script = "flock.lua"
world = "archipelago.lua"

flight = {
    steps = 1100, -- in one run; the next run continues from there
}

picture = {
    file = "flock.svg", -- in the directory of results
    trails = 7,         -- pieces that a trail is drawn in, from faint to bright
}

ferries = { -- sail when the script is done
    frames = 300,
    rate = 60, -- frames a second
    save = 0, -- save also after so many frames; 0: only at the end
}
