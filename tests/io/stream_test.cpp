// Compares streams of every kind with a model: a string and a position.
#include "IO/Adapters.h"
#include "IO/FileStream.h"
#include "IO/MemoryStream.h"

#include "support/null_from_malloc.h"
#include "support/test.h"

#include <fstream>

namespace {

using Mode = io::FileStream::Mode;

std::string restOf(io::Stream& stream) {
    std::string rest;
    EXPECT_TRUE(io::readRest(stream, rest)) << stream.getError();
    return rest;
}

// Small accesses, and some that are larger than the buffer.
std::size_t someCount(std::mt19937& random) {
    return random() % (random() % 8 == 0 ? 40'000U : 9U);
}

constexpr int kReads = 1, kWrites = 2;

// Makes random calls, by which the stream's size stays within `room`.
void compareWithModel(io::Stream& stream, std::string& model, int calls,
                      std::size_t room = 1'000'000) {
    std::mt19937 random(1);
    std::string piece(40'000, 0);
    for (int i = 0; i < 3000 && stream.isGood(); ++i) {
        const std::size_t position = stream.tell();
        std::size_t count = std::min(someCount(random), room - std::min(room, position));
        if (calls == kWrites || (calls != kReads && random() % 2 == 0)) {
            const std::string bytes = someBytes(count);
            ASSERT_EQ(stream.write(bytes.data(), count), count) << stream.getError();
            if (count != 0) {
                model.resize(std::max(model.size(), position + count));
                model.replace(position, count, bytes);
            }
        } else {
            const std::string expected = model.substr(std::min(position, model.size()), count);
            count = stream.read(piece.data(), count);
            ASSERT_EQ(piece.substr(0, count), expected) << i;
        }
        ASSERT_EQ(stream.tell(), position + count);
        if (random() % 4 == 0) {
            const std::size_t to = random() % (std::min(room - 10, model.size()) + 10);
            ASSERT_TRUE(stream.seek(to));
            ASSERT_EQ(stream.tell(), to);
        }
        if (random() % 8 == 0) {
            ASSERT_EQ(stream.size(), model.size());
            ASSERT_TRUE(calls == kReads || stream.flush());
        }
    }
    ASSERT_TRUE(stream.isGood()) << stream.getError();
}

TEST(IoStream, EveryKindReadsWhatIsThere) {
    std::string bytes = someBytes(60'000);
    const std::string path = (freshDirectory() / "file").string();
    writeFile(path, bytes);
    Mail::Message message(1);
    ASSERT_TRUE(message.addBytes(bytes.data(), bytes.size()));
    std::istringstream text(bytes);
    const std::string around = "before" + bytes + "behind";
    io::BlockStream whole(around.data(), around.size());

    io::MemoryStream memory(bytes.data(), bytes.size());
    io::BlockStream block(bytes.data(), bytes.size());
    io::PartStream part(whole, 6, bytes.size());
    io::FileStream file(path.c_str(), Mode::kRead);
    io::FileStream handle(VFS_open_read(path.c_str()));
    io::MessageStream received(message);
    io::StdInputStream standard(text);
    io::Stream* const kinds[] = {&memory, &block, &part, &file, &handle, &received, &standard};
    for (io::Stream* const stream : kinds) {
        SCOPED_TRACE(std::find(std::begin(kinds), std::end(kinds), stream) - std::begin(kinds));
        compareWithModel(*stream, bytes, kReads);
        ASSERT_TRUE(stream->seek(5));
        EXPECT_EQ(restOf(*stream), bytes.substr(5));
    }
}

TEST(IoStream, EveryKindWritesWhatItIsTold) {
    const std::string path = (freshDirectory() / "file").string();
    std::string model, fileModel, textModel;
    std::string room(60'000, 0), blockModel = room, around(70'000, 'x'), partModel(60'000, 'x');
    {
        io::MemoryStream memory;
        compareWithModel(memory, model, kReads | kWrites);
        EXPECT_EQ(std::string(memory.bytes().begin(), memory.bytes().end()), model);
        memory.clear();
        EXPECT_TRUE(memory.seek(3) && memory.write("x", 1) == 1 && memory.seek(0));
        EXPECT_EQ(restOf(memory), std::string("\0\0\0x", 4)) << "no old bytes in the gap";
    }
    io::BlockStream block(room.data(), room.size());
    compareWithModel(block, blockModel, kReads | kWrites, room.size());
    EXPECT_TRUE(block.flush());
    EXPECT_EQ(room, blockModel);

    io::BlockStream whole(around.data(), around.size());
    io::PartStream part(whole, 10, partModel.size());
    compareWithModel(part, partModel, kReads | kWrites, partModel.size());
    EXPECT_TRUE(part.flush());
    EXPECT_EQ(around, std::string(10, 'x') + partModel + std::string(9'990, 'x'));

    io::FileStream file(path.c_str(), Mode::kWrite);
    io::PartStream small(file, 0, 100);
    EXPECT_EQ(small.write("some", 4) + small.write("thing", 5), 9U);
    EXPECT_EQ(readFile(path), "") << "it is in the file's buffer";
    EXPECT_TRUE(file.open(path.c_str(), Mode::kWrite));
    compareWithModel(file, fileModel, kWrites);
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(path), fileModel);

    std::ostringstream text;
    io::StdOutputStream standard(text);
    while (textModel.size() < 1000 && standard.write("text", 4) == 4) {
        textModel += "text";
    }
    EXPECT_TRUE(standard.seek(1) && standard.write("EX", 2) == 2 && standard.flush());
    EXPECT_EQ(text.str(), textModel.replace(1, 2, "EX"));
}

TEST(IoStream, StandardStreamsAreUsedInTurns) {
    std::stringstream text;
    io::StdOutputStream out(text);
    io::StdInputStream in(text);
    EXPECT_EQ(out.write("ab", 2), 2U);
    text << "CD";
    EXPECT_EQ(out.write("ef", 2), 2U);
    EXPECT_EQ(text.str(), "abCDef");
    char two[2];
    EXPECT_EQ(in.read(two, 2), 2U);
    EXPECT_EQ(text.get(), 'C');
    EXPECT_EQ(in.read(two, 2), 2U);
    EXPECT_EQ(std::string_view(two, 2), "De");
    EXPECT_TRUE(in.seek(in.tell()) && in.read(two, 2) == 2);
    EXPECT_EQ(std::string_view(two, 2), "ef") << "a position is the buffer's";

    const std::string path = (freshDirectory() / "lines").string();
    std::string lines;
    std::ofstream file(path); // as text
    io::StdOutputStream intoFile(file);
    for (int i = 0; i < 3000; ++i) {
        const std::string line = std::to_string(i) + '\n';
        EXPECT_EQ(intoFile.write(line.data(), line.size()), line.size());
        lines += line;
    }
    file.close();
    std::ifstream opened(path);
    io::StdInputStream fromFile(opened);
    std::string read;
    for (char three[3]; read.size() < lines.size();) {
        const std::size_t count = fromFile.read(three, sizeof three);
        ASSERT_NE(count, 0U);
        read.append(three, count);
    }
    EXPECT_EQ(read, lines);
    opened.close();
    EXPECT_EQ(fromFile.read(two, 1), 0U);
    EXPECT_FALSE(fromFile.isGood()) << "no end, but an error";
}

TEST(IoStream, MessagesTakeAllOrNothing) {
    Mail::Message message(7);
    message.addBytes("ab", 2);
    {
        io::MessageStream stream(message);
        EXPECT_EQ(restOf(stream), "ab");
        EXPECT_EQ(stream.write("cd", 2), 2U);
        EXPECT_EQ(message.getSize(), 2U);
        EXPECT_TRUE(stream.flush());
        EXPECT_EQ(message.getSize(), 4U);
        EXPECT_EQ(stream.write("e", 1), 1U);
    }
    EXPECT_EQ(message.getSize(), 5U) << "when it is destroyed";
    io::MessageStream stream(message);
    const std::string large(Mail::Message::kMaxSize, 0);
    EXPECT_TRUE(stream.seek(5));
    EXPECT_EQ(stream.write(large.data(), large.size()), large.size());
    EXPECT_FALSE(stream.flush());
    EXPECT_EQ(message.getSize(), 5U);
    io::MessageStream changing(message);
    EXPECT_EQ(changing.write("A", 1), 0U);
}

TEST(IoStream, TheFirstErrorStays) {
    char small[4] = {};
    const std::string path = (freshDirectory() / "none").string(), other = "read-only";
    const std::string notWritten = "this stream cannot be written to";
    writeFile(other, "text");
    std::istringstream text("text"), bad;
    bad.setstate(std::ios::failbit);
    io::BlockStream whole(small, sizeof small);
    struct Case {
        std::unique_ptr<io::Stream> stream;
        std::function<bool(io::Stream&)> call; // true if it did all that was asked
        std::string error;
    };
    const auto write6 = [](io::Stream& stream) { return stream.write("longer", 6) == 6; };
    const auto read1 = [](io::Stream& stream) {
        char c = 0;
        return stream.read(&c, 1) == 1;
    };
    const auto writeAt = [&](std::uint64_t position) {
        return [=](io::Stream& stream) { return stream.seek(position) && write6(stream); };
    };
    const auto flush = [](io::Stream& stream) { return stream.flush(); };
    const auto cleared = [](auto stream) {
        stream->clearError();
        return stream;
    };
    std::istream noInput(nullptr);
    std::ostream noOutput(nullptr);
    const auto memory = [] { return std::make_unique<io::MemoryStream>(); };
    const auto file = [](const std::string& name, Mode mode) {
        return std::make_unique<io::FileStream>(name.c_str(), mode);
    };
    const Case cases[] = {
        {std::make_unique<io::BlockStream>(small, 4), write6, "the block of memory is full"},
        {std::make_unique<io::BlockStream>("text", 4), write6, notWritten},
        {std::make_unique<io::PartStream>(whole, 1, 2), write6, "the part of the stream is full"},
        {memory(), writeAt(std::uint64_t{1} << 63), "there is no such position"},
        {memory(), writeAt(~0ULL >> 1), "there is no such position"},
        {memory(), writeAt(1ULL << 60), "out of memory"},
        {std::make_unique<io::FileStream>(), read1, "no file is open"},
        {file(other, Mode::kRead), write6, "the file was opened for reading: " + other},
        {file(path, Mode::kRead), read1, "can't open the file: " + path},
        {file(path, Mode::kWrite), read1, "the file was opened for writing: " + path},
        {std::make_unique<io::StdInputStream>(text), write6, notWritten},
        {std::make_unique<io::StdInputStream>(bad), read1, "the std::istream is not good"},
        {cleared(std::make_unique<io::StdInputStream>(noInput)), read1,
         "the std::istream is not good"},
        {cleared(std::make_unique<io::StdOutputStream>(noOutput)), flush,
         "the std::ostream is not good"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.error);
        EXPECT_FALSE(test.call(*test.stream));
        EXPECT_EQ(test.stream->getError(), test.error);
        EXPECT_FALSE(test.stream->seek(0) || test.stream->flush() || read1(*test.stream));
        EXPECT_EQ(test.stream->size(), 0U);
        EXPECT_EQ(test.stream->getError(), test.error);
    }
    cases[0].stream->clearError();
    EXPECT_TRUE(cases[0].stream->seek(0) && read1(*cases[0].stream));

    io::MemoryStream some;
    const volatile std::size_t tooMany = ~std::size_t{0} / 2 + 1; // hidden from the compiler
    EXPECT_EQ(some.write("abc", 3) + some.write("x", tooMany), 3U);
    EXPECT_EQ(some.bytes().size(), 3U) << "what was written before the error";
    some.clearError();
    io::PartStream part(some, 1, 100);
    EXPECT_EQ(part.size(), 2U) << "no more than there is";
}

TEST(IoStream, StandardStreamsOverOurs) {
    io::MemoryStream memory;
    io::StreamBuffer buffer(memory);
    std::iostream both(&buffer);
    both << "first line\n" << 4711 << '\n' << std::flush;
    EXPECT_EQ(memory.size(), 16U);
    both.seekg(0);
    std::string line;
    int number = 0;
    EXPECT_TRUE(std::getline(both, line) && both >> number);
    EXPECT_EQ(line, "first line");
    EXPECT_EQ(number, 4711);
    EXPECT_EQ(both.tellg(), 15) << "the line's end was looked at";
    both.sync();
    EXPECT_EQ(memory.tell(), 15U);
    both.seekp(6);
    both << "LINE";
    both.seekg(-16, std::ios::end);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(both), {}), "first LINE\n4711\n");

    both.clear();
    both.seekg(0);
    EXPECT_EQ(both.get(), 'f');
    EXPECT_EQ(both.peek(), 'i');
    EXPECT_EQ(both.unget().tellg(), 0) << "a look ahead does not forget what was read";
    both.seekg(0);
    char small[4];
    both.peek();
    EXPECT_EQ(both.read(small, 3).unget().get(), 'r') << "the last one read";
    EXPECT_EQ(both.tellg(), 3);
    EXPECT_FALSE(both.seekg(std::numeric_limits<std::streamoff>::max(), std::ios::cur));

    io::BlockStream block(small, sizeof small);
    io::StreamBuffer full(block);
    std::ostream out(&full);
    out << "longer";
    EXPECT_TRUE(out.bad());
}

} // namespace
