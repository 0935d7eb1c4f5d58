// Files that name their fields.
#include "serial/saved.h"
#include "serial/values.h"

namespace {

using Common::CommonSerializer;
using Common::Field;
using Common::FieldKind;

// Such as "name:kind{fields}", with "..." where they vary.
std::string outline(const Field& field) {
    constexpr const char* kKinds[] = {"?",      "bool", "char",  "i8",       "u8",
                                      "int",    "uint", "float", "double",   "row ",
                                      "fixed ", "",     "list",  "optional", "ref"};
    const auto kindOf = [&](FieldKind kind) { return kKinds[static_cast<int>(kind)]; };
    std::string text = field.name + ':' + kindOf(field.kind);
    if (field.kind == FieldKind::kRow || field.kind == FieldKind::kFixedRow) {
        return text + kindOf(field.element) + (field.count == 0 ? "" : std::to_string(field.count));
    }
    for (const Field& inner : field.fields) {
        text += (&inner == field.fields.data() ? "{" : " ") + outline(inner);
    }
    return text + (field.varies ? "..." : "") + (field.fields.empty() ? "" : "}");
}

// The outlines of all classes of a file, or the error.
template<class T>
Lines outlinesOf(const std::string& bytes, Common::FactoryManager& factories, T value = {}) {
    io::BlockStream stream(bytes.data(), bytes.size());
    CommonSerializer serializer(stream, factories);
    serializer.transfer("world", value);
    Lines outlines;
    if (!serializer.finish()) {
        return {serializer.getError()};
    }
    for (const Common::FieldsOfClass& one : serializer.getFields()) {
        outlines.push_back(one.className + std::to_string(one.version) + outline(one.values));
    }
    return outlines;
}

// Objects of two shapes.
struct Crate : Common::SerializableObject {
    explicit Crate(int itsShape = 0) : SerializableObject("Crate"), shape(itsShape) {}

    void serialize(CommonSerializer& serializer) override {
        serializer.transfer("shape", shape);
        serializer.transfer("items", items);
        serializer.transfer("label", label);
        if (shape == 1) {
            serializer.transfer("lid", shape);
        }
        serializer.transfer("next", next);
    }

    int shape;
    std::vector<std::pair<int, bool>> items;
    std::optional<std::string> label;
    Common::Ref<Crate> next;
};

TEST(SerializerFields, AreThoseOfTheValues) {
    Common::FactoryManager factories;
    Values values = someValues(), read;
    const std::string named = save(values, 7, {.namesFields = true});
    EXPECT_EQ(load(named, read, factories), "");
    EXPECT_EQ(read, values);
    EXPECT_EQ(
        outlinesOf<Values>(named, factories),
        Lines{"7:{world:{flag:bool letter:char tiny:i8 small:int number:int large:int huge:uint "
              "real:float precise:double colour:int text:row char "
              "positions:list{:{x:float y:double}} row:row double flags:list{:bool} "
              "nested:list{:list{:int}} queue:list{:row char} list:list{:int} "
              "byName:list{:{key:row char value:{x:float y:double}}} "
              "byNumber:list{:{key:int value:row char}} "
              "several:list{:{key:int value:row char}} names:list{:row char} numbers:list{:int} "
              "dice:list{:int} throws:list{:int} owners:list{:{key:int value:int}} "
              "pair:{first:int second:row char} "
              "maybe:optional{:{x:float y:double}} none:optional fixed:fixed float3 "
              "outside:{:int :int}}}"});
    EXPECT_EQ(outlinesOf<Values>(save(values), factories), Lines{});
}

TEST(SerializerFields, AreLearntFromAllObjects) {
    Common::FactoryManager factories;
    factories.addFactory(new TestFactory({{"Crate", [] { return new Crate; }}}));
    using World = std::vector<Common::Ref<Crate>>;
    World world{Common::Ref<Crate>(new Crate), Common::Ref<Crate>(new Crate)};
    world[1]->items = {{1, true}};
    world[1]->label = "";
    const auto outlines = [&] {
        return outlinesOf<World>(save(world, 0, {.namesFields = true}), factories);
    };
    EXPECT_EQ(outlines(), (Lines{"0:{world:list{:ref}}",
                                 "Crate0:{shape:int items:list{:{first:int second:bool}} "
                                 "label:optional{:row u8} next:ref}"}));
    world[1]->label = "red";
    world.emplace_back(new Crate(1));
    EXPECT_EQ(outlines()[1], "Crate0:{shape:int items:list{:{first:int second:bool}} "
                             "label:optional{:row char}...}");
    world[0]->next = Common::Ref<Crate>(new Crate); // plain, named and plain again
    World read;
    EXPECT_EQ(load(save(world, 0, {.namesFields = true}), read, factories), "");
    EXPECT_EQ(save(read), save(world));
}

// A number, and what is said of it.
TEST(SerializerFields, ThatAreWrongAreRefused) {
    const auto errorOf = [](const std::string& fields) {
        Common::FactoryManager factories;
        int number = 0;
        const std::string length{static_cast<char>((fields.size() & 127) | 128),
                                 static_cast<char>(fields.size() >> 7)};
        return load(fileWith("\0\1\0\4"s + length + '\0' + fields, 2), number, factories);
    };
    const auto whole = [](const std::string& field, char count = 1) {
        return "\1\0\13\0"s + count + field;
    };
    EXPECT_EQ(errorOf(whole("\1n\5")), "");
    EXPECT_EQ(errorOf(whole("", 0)), "");
    std::string deep = whole("\1n\5");
    for (int i = 0; i < 1000; ++i) {
        deep = whole(deep.substr(1));
    }
    const struct {
        std::string fields;
        const char* error;
    } kWrong[] = {
        {"", "fields: the record ends before the value"},
        {whole("\1n\5").substr(0, 6),
         "fields[0].fields[0].name: a length beyond the end of the record"},
        {whole("\1n\5", 99), "fields[0].fields: a number of items beyond the end of the record"},
        {whole("\1n\0"s), "fields[0].fields[0]: a kind that does not exist"},
        {whole("\1n\17"), "fields[0].fields[0]: a kind that does not exist"},
        {whole("\1n\11\6"), "fields[0].fields[0]: a row of what is in none"},
        {whole("\1n\12\7\0"s), "fields[0].fields[0]: a row without elements"},
        {whole("\1n\14\0\2\0\5\0\5"s), "fields[0].fields[0]: more than one field"},
        {whole("\1n\13\0\0"s), "fields[0]: a group without fields"},
        {whole("\x80\2" + std::string(256, 'n') + "\5"),
         "fields[0].fields[0]: a name that is too long"},
        {whole("\1n\5") + '\0', "fields of other classes"},
        {"\0"s, "fields of other classes"},
    };
    for (const auto& [fields, error] : kWrong) {
        EXPECT_EQ(errorOf(fields), error);
    }
    EXPECT_TRUE(errorOf(deep).ends_with(": values too deep within each other")) << errorOf(deep);
}

} // namespace
