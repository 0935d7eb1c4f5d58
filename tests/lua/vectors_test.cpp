// Reads vectors in two programs: one has the library's own classes, the other a host's classes of
// the same names and layout. Both link against the same library.
#include "Lua/Config.h"

#include "lua/stack_shape.h"

#ifdef QZ_TEST_HOST_VECTORS

namespace osg {

template<class Number, std::size_t count>
struct HostVector {
    typedef Number value_type;
    value_type operator[](int i) const { return _v[i]; }
    value_type _v[count] = {};
};

class Vec4ub : public HostVector<unsigned char, 4> {};
class Vec2f : public HostVector<float, 2> {};
class Vec3d : public HostVector<double, 3> {};
class Vec4d : public HostVector<double, 4> {};

} // namespace osg

#    define QZ_TEST_SUITE LuaHostVectors
#else
#    include "Lua/Vectors.h"
#    define QZ_TEST_SUITE LuaVectors
#endif

namespace {

static_assert(sizeof(osg::Vec4ub) == 4 && sizeof(osg::Vec2f) == 8);
static_assert(sizeof(osg::Vec3d) == 24 && sizeof(osg::Vec4d) == 32);

using Components = std::vector<double>;

struct QZ_TEST_SUITE : ShapedScript {
    // The components of the vector that an expression reads as, or none.
    template<class Vector, int count>
    Components read(const std::string& expression) {
        EXPECT_EQ(luaL_dostring(state_, ("return " + expression).c_str()), 0);
        Vector vector;
        const bool complete = shaped(1, "", [&] { return Lua::Config(state_).pop(&vector); });
        Components components;
        for (int i = 0; i < count; ++i) {
            EXPECT_TRUE(complete || vector[i] == 0) << "written to without success";
            components.push_back(static_cast<double>(vector[i]));
        }
        return complete ? components : Components();
    }
};

TEST_F(QZ_TEST_SUITE, AllComponentsOrNone) {
    EXPECT_EQ((read<osg::Vec4ub, 4>("{1, 2.9, 256, -1, 5}")), (Components{1, 2, 0, 255}));
    EXPECT_EQ((read<osg::Vec2f, 2>("{0.5, -2}")), (Components{0.5, -2}));
    EXPECT_EQ((read<osg::Vec3d, 3>("setmetatable({1, 2}, {__index = {3, 3, 0.1}})")),
              (Components{1, 2, 0.1}));
    EXPECT_EQ((read<osg::Vec4d, 4>("{1, 2, 3, 1e300}")), (Components{1, 2, 3, 1e300}));
    for (const char* expression :
         {"{1, 2}", "{1, '2', 3}", "{}", "5", "'text'", "nil",
          "setmetatable({1, 2}, {__index = function() error('no') end})"}) {
        EXPECT_EQ((read<osg::Vec3d, 3>(expression)), Components{}) << expression;
    }
}

} // namespace
