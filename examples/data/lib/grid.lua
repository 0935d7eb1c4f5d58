-- Finds neighbours: points sorted into square cells, so that only nine cells need a look.

local grid = {}
grid.__index = grid

function grid.new(width, height, cell)
    local self = { cell = cell, columns = math.ceil(width / cell) + 2, first = {}, next = {} }
    self.rows = math.ceil(height / cell) + 2
    return setmetatable(self, grid)
end

-- The number of the cell of a point; points outside belong to the nearest cell at the edge.
function grid:cell_of(x, y)
    local column = math.min(math.max(math.floor(x / self.cell) + 1, 1), self.columns - 2)
    local row = math.min(math.max(math.floor(y / self.cell) + 1, 1), self.rows - 2)
    return row * self.columns + column
end

-- Sorts all points anew. Each cell is a chain: first[cell], then next[point]; 0 ends it.
function grid:fill(xs, ys)
    local first, following = self.first, self.next
    for cell = 0, self.columns * self.rows - 1 do
        first[cell] = 0
    end
    for point = 1, #xs do
        local cell = self:cell_of(xs[point], ys[point])
        following[point] = first[cell]
        first[cell] = point
    end
end

return grid
