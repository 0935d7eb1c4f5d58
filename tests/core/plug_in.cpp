// A host's plug-in: uses all of the library but its tasks, once or for ever.
#include "Common/Factory.h"
#include "Common/Profiler.h"
#include "Common/Text.h"
#include "Config/ConfigParser.h"
#include "Core/Environment.h"
#include "Core/Log.h"
#include "Core/Watch.h"
#include "Globals.h"
#include "IO/FileStream.h"
#include "IO/MemoryStream.h"
#include "Lua/State.h"
#include "Mail/Server.h"
#include "Mail/Stream.h"
#include "Random/RandomManager.h"
#include "Serial/CommonSerializer.h"
#include "Tasks/PathfinderThread.h"
#include "Tasks/Sync.h"
#include "VFS/Archive.h"
#include "VFS/File.h"
#include "VFS/Locations.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <new>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t kNobody = 0; // an address that stays free

struct Box : Mail::Mailbox {
    using Mailbox::Mailbox;
    bool receive(const Mail::Message& message) override {
        Mail::Reader reader(message);
        return reader.get(32) == message.getAddress();
    }
};

void useMail() {
    static std::atomic<std::uint32_t> next{0};
    const std::uint32_t address = kNobody + 1 + next++ % 600;
    globalMail->addMailbox(Mem::Ptr<Mail::Mailbox>(new Box(address)));
    const Mail::Message message(address);
    {
        Mail::Writer writer(message);
        for (std::uint32_t i = 0; i < address; ++i) {
            writer.put(address, 32);
        }
    }
    globalMail->send(message);
    globalMail->removeMailbox(address);
}

void useLua() {
    lua_State* const state = QZ_lua_open("plug-in");
    QZ_lua_openlibs(state);
    QZ_lua_close(state);
}

void useGlobalLua() {
    if (globalConfig != nullptr) {
        QZ_lua_openlibs(globalConfig);
    }
}

void useLog() {
    qz_log("PLUG-IN", QZ_LOG_TRACE, "something");
    qz_log_set_output("plug-in", "", QZ_LOG_ALL);
    // The last reader stays open.
    static qz_log_reader* reader = nullptr;
    qz_log_reader_close(std::exchange(reader, qz_log_reader_open()));
    qz_log_reader_read(reader);
    qz_log_hook_start();
    qz_log_hook_read();
}

void useFiles() {
    vfs_mount(".", "/", 1);
    vfs_free_file_buffer(vfs_read_file("plug-in.txt", nullptr));
    if (VFS_File* const file = VFS_open_write("plug-in.txt")) {
        VFS_write(file, "text", 4);
        VFS_close(file);
    }
    io::MountedStream("plug-in.txt").size();
    io::MemoryStream saved;
    Common::CommonSerializer serializer(saved);
    std::vector<int> numbers(1000);
    serializer.transfer("numbers", numbers);
    serializer.finish();
    vfs_unmount(".");
}

void useConfig() {
    ConfigParser parser;
    constexpr char kText[] = "a { b = 1 + 2.5; c = \"text\"; }";
    parser.parse(kText, sizeof kText - 1);
}

void useObjects() {
    Common::FactoryManager* manager = nullptr;
    getRegistry(&manager);
    manager->createInstance("none");
    manager->release();
    if (Common::globalFactoryManager != nullptr) {
        Common::globalFactoryManager->createInstance("none");
    }
}

void useRest() {
    const Common::ProfiledFunc profiled("rest");
    char text[1000];
    QZ_watch_get_all(0, text, sizeof text);
    SYS_getenv("PATH", text, sizeof text);
    SYS_bindir();
    Common::iconv_utf8_to_wchar("text");
    qz::vector<int> numbers(1000);
    numbers.resize(2000);
    Sync::Futex futex;
    futex.try_lock(0);
    futex.unlock();
    globalRandomManager();
}

constexpr void (*kUses[])() = {useMail,  useMail,  useLua,    useLua,     useGlobalLua, useLog,
                               useFiles, useFiles, useConfig, useObjects, useRest,      useRest};

void useAgainAndAgain(void (*use)()) {
    for (;;) {
        use();
    }
}

#ifdef _WIN32
// At the end of the process, the system kills the thread that has the lock, and threads that use
// mailboxes, before it calls the destructor.
class LastUse {
public:
    ~LastUse() {
        if (isHeld_) {
            lock_.lock();
            lock_.unlock();
            globalMail->removeMailbox(kNobody);
        }
    }

    void hold() {
        lock_.lock();
        isHeld_ = true;
        std::this_thread::sleep_for(std::chrono::hours(1));
    }

private:
    Sync::Futex lock_;
    std::atomic<bool> isHeld_{false};
} lastUse;
#endif

} // namespace

extern "C" {

void useOnce() {
    vfs_init();
    globalProfiler.start();
    for (const auto use : kUses) {
        use();
    }
}

void useForEver() {
    qz_log_start(".", "for ever");
    vfs_init();
    globalProfiler.start();
    for (const auto use : kUses) {
        std::thread(useAgainAndAgain, use).detach();
    }
#ifdef _WIN32
    std::thread(&LastUse::hold, &lastUse).detach();
#endif
}

void addQuery(void (*query)(void*)) {
    PathfinderThread::instance()->addQuery(query, nullptr);
}

} // extern "C"
