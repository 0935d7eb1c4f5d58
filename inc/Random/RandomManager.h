/* Random numbers from tables: the same in every run, as fast as a read, and saved and restored as a
 * position. C++ only, for programs built by the library's compiler.
 *
 *     RandomObject noise(RandomObject::kNormal, 17);
 *     float gust = noise.get();
 *
 * The tables are part of the contract: they are the same on every system and in every version,
 * because stored games and recordings depend on them.
 *
 * Threads: tables do not change, so any number of threads may read them, each with its own random
 * objects. A random object is for one thread at a time, and so is a manager's list.
 */
#ifndef QZCORE_RANDOM_RANDOMMANAGER_H
#define QZCORE_RANDOM_RANDOMMANAGER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>
#include <list>
#include <unordered_map>
#include <vector>

using RandomTable = std::vector<float>;

/* Saves and restores random objects. The host derives from it for its own format. */
class QZ_API RandomSerializer {
public:
    virtual ~RandomSerializer();

    /* Returns true while values are read. */
    virtual bool isLoading() const = 0;

    /* Writes the value, or reads the next value into it, in the order of the calls. */
    virtual void transfer(std::int32_t& value) = 0;
};

/* A cursor in a table of random numbers. Behind the last entry it begins again at the first. */
class QZ_API RandomObject {
public:
    /* Fixed numbers, because they are stored. */
    enum Type : std::int32_t {
        kUniform = 0, /* from 0 to 1, both included, in steps of 1/32767 */
        kNormal = 1,  /* mean 0, variance 1, from -6 to 6 */
        kCustom = 2   /* a table that the caller owns */
    };

    /* Reads a table of globalRandomManager(); every type other than kNormal means kUniform. */
    explicit RandomObject(std::int32_t type = kUniform, std::uint32_t offset = 0);

    /* Reads this table, which must exist and keep its size while the object reads it. An empty
     * table is read as one with the entry 0. getType returns `type`, or kCustom if it is above
     * that. */
    RandomObject(const RandomTable& table, std::int32_t type, std::uint32_t offset = 0);

    RandomObject(const RandomObject&) = default;
    RandomObject& operator=(const RandomObject&) = default;
    virtual ~RandomObject();

    /* Change to a table of globalRandomManager(), as the first constructor does. setType does not
     * move the cursor. */
    void init(std::int32_t type, std::uint32_t offset);
    void setType(std::int32_t type);

    std::int32_t getType() const { return type_; }

    /* Sets the cursor to the entry offset modulo the table's length. */
    void setOffset(std::uint32_t offset);

    /* The index of the cursor; the table's length if the last entry was drawn last. */
    std::uint32_t getOffset() const { return cursor_; }

    /* Returns the entry at the cursor and moves the cursor to the next, from the last to the first.
     */
    float get() {
        if (cursor_ >= size_) {
            cursor_ = 0;
        }
        return values_[cursor_++];
    }

    /* Returns the entry with the index i modulo the table's length. The cursor does not move. */
    float get(std::uint32_t i) const { return values_[i % size_]; }

    /* Writes the type and then the offset, or reads them. After reading the object has a table of
     * globalRandomManager(): the normal one for kNormal, the uniform one for any other type,
     * kCustom included. */
    virtual void serialize(RandomSerializer& serializer);

private:
    QZ_LOCAL void read(const RandomTable& table);

    const float* values_ = nullptr;
    std::uint32_t size_ = 0;
    std::uint32_t cursor_ = 0;
    std::int32_t type_;
};

/* Owns the tables, and the random objects that are added to it. */
class QZ_API RandomManager {
public:
    /* Makes the tables of 2000 entries, which takes some milliseconds. All managers have equal
     * tables. */
    RandomManager();

    RandomManager(const RandomManager&) = delete;
    RandomManager& operator=(const RandomManager&) = delete;

    /* Destroys its objects in the order added; their destructors may add and remove others. Random
     * objects that read its tables must not outlive it. */
    virtual ~RandomManager();

    /* Takes ownership of an object made with new. Null and an object that it already has are
     * ignored. */
    void add(RandomObject* object);

    /* Destroys an object made with new, and removes it from the list if it is there. Null is
     * ignored. */
    void remove(RandomObject* object);

    const RandomTable& getUniform() const { return uniform_; }
    const RandomTable& getNormal() const { return normal_; }

    /* Draws `count` values from 0 to 1, and draws all of them again until the chi-square statistic
     * of `bins` equal bins is not above the threshold. Equal arguments give equal tables.
     *
     * Returns an empty table if 100 000 draws were not enough, or `count` or `bins` is not
     * positive. */
    static RandomTable createUniform(std::uint32_t seed, int count, int bins, float threshold);

    /* Makes as many values as the given table has, each the sum of twelve uniform values, less 6.
     * The seed is the table's first value times 32767, in single precision and without its
     * fraction. */
    static RandomTable createNormal(const RandomTable& uniform);

    /* Makes a table of the function's results for each value of the given table, in order. The
     * caller owns it; random objects read it as kCustom. */
    template<typename Function>
    static RandomTable createCustom(const RandomTable& uniform, Function function) {
        RandomTable table;
        table.reserve(uniform.size());
        for (const float value : uniform) {
            table.push_back(function(value));
        }
        return table;
    }

private:
    RandomTable uniform_;
    RandomTable normal_;
    std::list<RandomObject*> objects_; /* in the order added */
    std::unordered_map<RandomObject*, std::list<RandomObject*>::iterator> places_;
};

#endif
