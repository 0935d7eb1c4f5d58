/* Reads structured data from Lua files and names the mistakes in them. C++ only, for programs built
 * by the library's compiler.
 *
 * The entries that a program reads have to exist: if one is missing or has the wrong type, the
 * loader throws a LoaderException that names it by its full path.
 *
 *     Lua::Loader loader;
 *     loader.load("data/units.lua", "units");
 *     loader.beginSubtable("tank");
 *     const double speed = loader.getDouble("speed");   // "units.tank.speed is missing"
 *     loader.endSubtable();
 *
 * The current table is the value on top of the Lua state's stack; entering a table pushes it,
 * leaving pops it. The loader also keeps the path: the names of the entered tables, which are keys,
 * array indices and "METATABLE". Comments show the top values of the stack before and after a call,
 * from bottom to top; T is the current table.
 *
 * Messages name an entry by the path's components and the key, joined by ".". If the host has
 * prepared the stack, the loader has no path until it enters a table; until then messages lack path
 * and key, and begin with a blank.
 *
 * After an exception stack and path are as before the call, and the caller may go on. Lua errors
 * (an __index that raises, lack of memory) become LoaderExceptions whose message ends in Lua's
 * message. They never pass through a loader, except when there is no memory for the stack itself.
 *
 * A lua_CFunction may use a loader, but has to catch its exceptions: they must not pass through
 * Lua.
 *
 * Threads: the state is for one thread at a time.
 */
#ifndef QZCORE_LUA_LOADER_H
#define QZCORE_LUA_LOADER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Lua/Key.h"
#include "Math/Rotation3.h"
#include "Math/Vector.h"

#include <stdexcept>
#include <string>
#include <vector>

struct lua_State;

namespace Lua {

/* what() is the message. */
class QZ_API LoaderException : public std::runtime_error {
public:
    explicit LoaderException(const std::string& message) : LoaderException(message, message) {}
    LoaderException(const std::string& message, const std::string& full)
        : std::runtime_error(message), full_(full) {}

    /* Returns the message with the name of the last loaded file in front, if there is one:
     * "data/units.lua: units.tank.speed is missing". It has the entry's key even if there is no
     * path. Lua's own messages about the file are unchanged, because they name it. */
    const char* getFullMessage() const noexcept { return full_.what(); }

private:
    std::runtime_error full_; // for its text, which copies do not allocate
};

/* Keys are integers, const char* or std::string; see Lua::Key. */
class QZ_API Loader {
public:
    /* Makes a loader without a state: reading gives 0, 0.0, false, an empty text, a zero vector or
     * the identity; walking and writing throw "No Lua state". load(file, table), loadMounted and
     * createGlobalTable open a state. */
    Loader() = default;

    /* Uses a state that the caller owns and that outlives the loader. Null means no state. */
    explicit Loader(lua_State* state) : state_(state) {}

    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    /* Closes the state if the loader opened it. */
    virtual ~Loader();

    lua_State* getLuaState() const { return state_; }

    /* The last file that was loaded and run, as it was given; empty if there is none. */
    const std::string& getFile() const { return file_; }

    /* The directory of the last file that was to be loaded, even in vain, with a separator at the
     * end; "./" for a bare file name. */
    const std::string& getRootDir() const { return rootDir_; }

    /* Runs a file of the VFS (VFS/File.h), then enters a global table as load(table) does.
     *
     * Opens a state named after the file, with all libraries, if there is none. Each call appends
     * ";", the file's directory and "?.lua;" to package.path, so that modules beside the file are
     * found. Throws with Lua's text if the file does not load or run. */
    void load(const std::string& file, const std::string& table);

    /* The same with a mounted file (VFS/Archive.h). package.path does not change: require does not
     * find mounted files. */
    void loadMounted(const std::string& file, const std::string& table);

    /* -> T. Enters a global table. The path is then the table's name alone; values that earlier
     * calls left on the stack stay there. Throws "No " + table + " table in config file" if there
     * is no such global table, or "%s: %s" with its name and Lua's text if reading the global
     * fails. */
    void load(const std::string& table);

    /* -> T. Stores a new empty table under a global name and enters it, like load(table). Opens a
     * state named "Lua::Loader::createGlobalTable" if there is none. */
    void createGlobalTable(const std::string& name);

    /* Read an entry of the current table. Throw "%s is missing" or "%s is not a %s" with the path
     * and the type's name. For strings the type's name is empty, and the message ends in "not a ".
     *
     * A number is not converted to a string, nor a string to a number. getBoolean also takes a
     * number: 0 is false, others are true.
     *
     * getInt: throws "%s is not an integer (%s)" if cutting the fraction off changes the number by
     * more than 1e-8 (3.000000001 gives 3, but 2.999999999 is refused), or if an int cannot hold
     * it. */
    int getInt(Key key) const;
    double getDouble(Key key) const;
    bool getBoolean(Key key) const;
    std::string getString(Key key) const;

    /* The same for a number in a range, its ends included. Throw "%s is %s, not from %s to %s" for
     * other numbers and for not-a-number. */
    int getInt(Key key, int least, int most) const;
    double getDouble(Key key, double least, double most) const;

    /* For mistakes that only the caller can find: throws a LoaderException of the entry's path, a
     * blank and this text. reject("route", "is empty") throws "units.tank.route is empty". */
    [[noreturn]] void reject(Key key, const std::string& what) const;

    /* Read tables of three and four numbers: x, y, z and x, y, z, w, at 1, 2, ... */
    Math::Vector<3, double> getVector(Key key);
    Math::Rotation3<double> getQuaternion(Key key);

    /* Returns whether the entry is other than nil; false if it cannot be read. Never throws. */
    bool hasEntry(Key key) const;

    /* Store into the current table and replace what was there. */
    void setInt(Key key, int value);
    void setDouble(Key key, double value);
    void setBoolean(Key key, bool value);
    void setString(Key key, const std::string& value);
    void setVector(Key key, const Math::Vector<3, double>& value);
    void setQuaternion(Key key, const Math::Rotation3<double>& value);

    /* T -> T, subtable. Enter a subtable. createSubtable makes it first if there is none. Throw as
     * getDouble does. */
    void beginSubtable(Key key);
    void createSubtable(Key key);

    /* T, subtable -> T. Leaves a table. Does nothing while the path is empty. */
    void endSubtable();

    /* Walk an array from 1 to the first nil:
     *
     *     for (loader.beginArray("crew"); loader.nextArray();) { ... }
     *     loader.endSubtable();
     *
     * beginArray(): T -> T, 0, nil; adds "0" to the path. nextArray: T, i, element -> T, i + 1,
     * next element and true, with its index last in the path; at the end -> T and false, and the
     * index leaves the path. beginArray(key) enters the table first; leave it with endSubtable.
     * Elements need not be tables, but others have no entries. To leave the loop early, call
     * endSubtable, and lua_pop for the index. */
    void beginArray(Key key);
    void beginArray();
    bool nextArray();

    /* Walk all subtables, in the order of lua_next:
     *
     *     std::string name;
     *     for (loader.beginSubtables(); loader.nextSubtable(name);) { ... }
     *
     * beginSubtables: T -> T, nil, nil; adds "" to the path. nextSubtable: T, key, subtable -> T,
     * next key, next subtable and true, with its name last in the path; at the end -> T and false,
     * and the name leaves the path. Throws "Not a string key in table: %s" or
     * "Not a subtable element in table %s" with T's path, and stays at the subtable before the bad
     * entry. To leave the loop early, call endSubtable, and lua_pop for the key. */
    void beginSubtables();
    bool nextSubtable(std::string& name);

    /* T -> T, metatable. beginMetatable enters the current table's metatable, newMetatable gives it
     * a new empty one and enters that. Leave it with endSubtable. Throw "No metatable at %s" if
     * there is none, or the current value is not a table. */
    void beginMetatable();
    void newMetatable();

    /* From this call on the loader records which entries are asked for, by hasEntry too, so that
     * getUnread can name those that are misspelt or out of use. Call it after `load`. Each call
     * begins a new record. The loader keeps the recorded tables alive. */
    void trackReads();

    /* Returns the full paths, sorted, of the entries that nobody has asked this loader for, in the
     * current table and in those of its subtables that were asked for. Call it when all has been
     * read:
     *
     *     for (const std::string& entry : loader.getUnread()) { ... } // units.tank.sped
     *
     * Entries that were only stored by set..., or read by Lua code or through lua_State, were not
     * asked for. Metatables are ignored, a table that occurs twice is visited once, and subtables
     * are visited 32 levels deep. A key that is neither text nor number is named by its type in
     * brackets. Without trackReads the result is empty. */
    std::vector<std::string> getUnread() const;

    /* Returns the path's components from number `from` on (the first is 0), joined by "."; empty if
     * there are none. */
    std::string getCurrentPath(int from = 0) const;

private:
    QZ_LOCAL void requireState(const char* name);
    QZ_LOCAL void beginLoading(const std::string& file);
    QZ_LOCAL void finishLoading(int status, const std::string& file, const std::string& table);
    QZ_LOCAL void reserve() const;
    [[noreturn]] QZ_LOCAL void fail(const std::string& message, const std::string& full) const;
    [[noreturn]] void fail(const std::string& message) const { fail(message, message); }
    QZ_LOCAL void appendPackagePath() const;
    QZ_LOCAL std::string pathText(const Key& key) const;
    QZ_LOCAL std::string iteratedPath() const;
    QZ_LOCAL void check(int status, const Key& key) const;
    QZ_LOCAL void checkEntry(const Key& key, int type) const;
    QZ_LOCAL void requireRange(const Key& key, double number, double least, double most) const;
    [[noreturn]] QZ_LOCAL void failWithLuaError(const std::string& where) const;
    [[noreturn]] QZ_LOCAL void failEntry(const Key& key, const std::string& what) const;
    [[noreturn]] QZ_LOCAL void failLookup(const Key& key, const std::string& what) const;
    [[noreturn]] QZ_LOCAL void failStep(const char* what) const;
    QZ_LOCAL void pushEntry(const Key& key, int type) const;
    QZ_LOCAL void enter(const Key& name, int values);
    QZ_LOCAL void readNumbers(const Key& key, double* values, int count);
    QZ_LOCAL void beginIteration(const char* component, void (*pushStart)(lua_State*));
    QZ_LOCAL bool isIterating() const;
    QZ_LOCAL bool endIteration();
    bool isTracking() const { return reads_ != 0; }
    QZ_LOCAL int noteRead(int table, const Key& key) const;
    QZ_LOCAL void forgetReads() const;

    std::string rootDir_;
    std::string file_;
    lua_State* state_ = nullptr;
    bool ownsState_ = false;
    int reads_ = 0; // reference to what was read, in the state's registry; 0 if that is not tracked
    std::vector<std::string> path_;
};

} // namespace Lua

#endif
