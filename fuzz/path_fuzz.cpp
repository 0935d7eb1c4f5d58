// The path functions on any text and any size: no byte past the size (the buffers have exactly the
// given size), always a terminator, and the properties of the results that the header states.
#include "require.h"

#include "VFS/Paths.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace {

using Conversion = unsigned int (*)(char*, size_t, const char*);

struct Result {
    unsigned int status;
    std::string text;
};

template<class Call>
Result into(std::size_t size, Call call) {
    const std::unique_ptr<char[]> buffer(new char[size]);
    std::memset(buffer.get(), 'x', size);
    const unsigned int status = call(buffer.get());
    require(status <= 1);
    const std::size_t length = strnlen(buffer.get(), size);
    require(size == 0 || length < size);
    return {status, {buffer.get(), length}};
}

std::string whole(Conversion conversion, const std::string& path) {
    const std::size_t enough = 4 * path.size() + 1;
    const Result result =
        into(enough, [&](char* out) { return conversion(out, enough, path.c_str()); });
    require(result.status == 1);
    return result.text;
}

void checkConversion(Conversion conversion, const std::string& path, std::size_t size) {
    const std::string all = whole(conversion, path);
    const Result cut = into(size, [&](char* out) { return conversion(out, size, path.c_str()); });
    require(all.starts_with(cut.text));
    require(cut.status == 0 || cut.text == all);
}

void checkSplitAndJoin(const std::string& path) {
    const char* file = nullptr;
    const Result directory = into(path.size() + 1, [&](char* out) {
        return VFS_path_split(path.c_str(), out, path.size() + 1, &file);
    });
    require(directory.status == 1);
    require(file >= path.c_str() && std::strpbrk(file, "/\\") == nullptr);
    if (directory.text.find_first_not_of('\\') == std::string::npos) {
        return; // the root itself has no name to join to
    }
    const std::size_t enough = path.size() + 2;
    const Result joined = into(enough, [&](char* out) {
        return VFS_path_join(out, enough, directory.text.c_str(), file);
    });
    require(joined.status == 1 && joined.text == whole(VFS_path_normalize, path));
}

void checkJoin(const std::string& base, const std::string& relative, std::size_t size) {
    const auto join = [&](std::size_t room) {
        return into(room, [&](char* out) {
            return VFS_path_join(out, room, base.c_str(), relative.c_str());
        });
    };
    const Result all = join(base.size() + relative.size() + 2);
    const Result cut = join(size);
    require(all.status == 1 && all.text.starts_with(whole(VFS_path_normalize, base)));
    require(cut.status == 0 || cut.text == all.text);
}

} // namespace

// The input: a byte for the size, then two texts with a null byte between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    const std::size_t size = data[0];
    const std::string texts(reinterpret_cast<const char*>(data + 1), length - 1);
    const std::string first = texts.c_str();
    const std::string second = texts.substr(std::min(first.size() + 1, texts.size())).c_str();

    checkConversion(VFS_path_normalize, first, size);
    checkConversion(VFS_path_normcase, first, size);
    const std::string normal = whole(VFS_path_normalize, first);
    require(whole(VFS_path_normalize, normal) == normal);
    checkSplitAndJoin(first);
    checkJoin(first, second, size);
    return 0;
}
