/* Random numbers from tables: the same for every run, drawn at the cost of a read, and saved and
 * restored as a position. C++ only, for programs built by the library's compiler.
 *
 *     RandomObject noise(RandomObject::kNormal, 17);
 *     float gust = noise.get();
 *
 * The tables are part of the contract: equal on every system and from version to version, because
 * stored games and recordings depend on them.
 *
 * Threads: tables do not change, so any number of threads may read them, each with random objects
 * of its own. A random object, and a manager's list, is for one thread at a time.
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

/* How a random object is saved and read back; a host puts its own format behind it. */
class QZ_API RandomSerializer {
public:
    virtual ~RandomSerializer();

    /* True while values are read. */
    virtual bool isLoading() const = 0;

    /* Writes the value, or reads the next one into it, in the order of the calls. */
    virtual void transfer(std::int32_t& value) = 0;
};

/* A cursor into a table of random numbers, which it reads round and round. */
class QZ_API RandomObject {
public:
    /* Plain numbers, because they are stored. */
    enum Type : std::int32_t {
        kUniform = 0, /* from 0 to 1, both possible, in steps of 1/32767 */
        kNormal = 1,  /* mean 0, variance 1, from -6 to 6 */
        kCustom = 2   /* a table of the caller's */
    };

    /* Reads a table of globalRandomManager(); every type but kNormal counts as kUniform. */
    explicit RandomObject(std::int32_t type = kUniform, std::uint32_t offset = 0);

    /* Reads this table, which must neither go nor change its size while the object reads it; an
     * empty one counts as a table with the entry 0. The type is what getType says; above kCustom it
     * becomes kCustom. */
    RandomObject(const RandomTable& table, std::int32_t type, std::uint32_t offset = 0);

    RandomObject(const RandomObject&) = default;
    RandomObject& operator=(const RandomObject&) = default;
    virtual ~RandomObject();

    /* Changes to a table of globalRandomManager(), as the first constructor does. setType keeps the
     * cursor where it is. */
    void init(std::int32_t type, std::uint32_t offset);
    void setType(std::int32_t type);

    std::int32_t getType() const { return type_; }

    /* Sets the cursor to the entry offset modulo the table's length. */
    void setOffset(std::uint32_t offset);

    /* The cursor's entry; the table's length when the last entry was the last one drawn. */
    std::uint32_t getOffset() const { return cursor_; }

    /* The entry at the cursor, which moves on by one; behind the last entry follows the first. */
    float get() {
        if (cursor_ >= size_) {
            cursor_ = 0;
        }
        return values_[cursor_++];
    }

    /* The entry with the index i modulo the table's length. The cursor stays. */
    float get(std::uint32_t i) const { return values_[i % size_]; }

    /* Writes the type and then the offset, or reads them. One read as normal reads that table of
     * globalRandomManager(); with any other type, kCustom among them, it comes back as kUniform. */
    virtual void serialize(RandomSerializer& serializer);

private:
    QZ_LOCAL void read(const RandomTable& table);

    const float* values_ = nullptr;
    std::uint32_t size_ = 0;
    std::uint32_t cursor_ = 0;
    std::int32_t type_;
};

/* Owns the tables, and random objects that are handed over to it. */
class QZ_API RandomManager {
public:
    /* Makes the tables of 2000 entries, which takes some milliseconds. Every manager makes the same
     * ones. */
    RandomManager();

    RandomManager(const RandomManager&) = delete;
    RandomManager& operator=(const RandomManager&) = delete;

    /* Destroys its objects, the first one first; their destructors may add and remove others.
     * Whoever reads its tables must not outlive it. */
    virtual ~RandomManager();

    /* Takes an object made with new. Null and one that it has already are ignored. */
    void add(RandomObject* object);

    /* Destroys an object made with new, after dropping it from the list if it is there. Null is
     * ignored. */
    void remove(RandomObject* object);

    const RandomTable& getUniform() const { return uniform_; }
    const RandomTable& getNormal() const { return normal_; }

    /* Draws `count` values from 0 to 1, and draws them all again until they are spread evenly:
     * until the chi-square statistic of as many as `bins` equal bins is not above the threshold.
     * Equal arguments give equal tables.
     *
     * Returns an empty table if 100 000 draws were not enough, or `count` or `bins` is not
     * positive. */
    static RandomTable createUniform(std::uint32_t seed, int count, int bins, float threshold);

    /* As many values as the given table has, each the sum of twelve uniform ones less 6. The seed
     * is the table's first value times 32767, in single precision and without its fraction. */
    static RandomTable createNormal(const RandomTable& uniform);

    /* What the function makes of each value of the table, in order. It is the caller's; random
     * objects read it as kCustom. */
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
