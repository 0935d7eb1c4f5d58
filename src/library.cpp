// The composition root: what loading the library brings up, and in which order it goes down. The
// only file that knows everybody.
#include "Globals.h"

#include "Common/Allocator.h"
#include "Common/Factory.h"
#include "Core/Clock.h"
#include "Core/Watch.h"
#include "Lua/State.h"
#include "Mail/Server.h"
#include "Util/FPS_Controller.h"
#include "Util/Publish.h"
#include "VFS/Archive.h"
#include "common/allocator_counters.h"
#include "common/recording.h"
#include "core/decimal.h"
#include "core/library_log.h"
#include "core/memory_pool.h"
#include "core/until_unload.h"
#include "core/watch_table.h"
#include "globals/registry.h"
#include "lua/pool.h"
#include "mail/memory.h"
#include "platform/compiler.h"
#include "platform/entry.h"
#include "platform/fence.h"
#include "random/default_manager.h"
#include "tasks/task_manager.h"
#include "tasks/wait_line.h"
#include "util/publication.h"

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <new>
#include <utility>

constinit lua_State* globalConfig = nullptr;
QZ_EXPORT_BY_NAME(lua_State*, globalConfig);
constinit Common::FactoryManager* Common::globalFactoryManager = nullptr;
constinit Mail::Server* globalMail = nullptr;
QZ_EXPORT_BY_NAME(Mail::Server*, globalMail);

namespace {

constexpr char kMainPoolWatch[] = "Main pool";
constexpr char kAllocatorWatch[] = "STL allocator";
constexpr std::uint32_t kDirectMailboxes = 256;
constexpr double kMebibyte = 1024.0 * 1024.0;

// How long the log's last lines may take. A disk that hangs must not keep a process from ending.
// But if the process goes on, the writer thread must not return to code that is gone.
constexpr std::chrono::seconds kForLogAtExit{2};
constexpr std::chrono::hours kForLogAtUnload{24};

// What globalMail is, unless the host has put another there.
constinit Mail::ServerImpl* mailServer = nullptr;
constinit bool attached = false;

constinit FPS_Controller fpsController;

size_t printMainPool(unsigned int, char* buffer, size_t size, void*) {
    const core::Fixed footprint(static_cast<double>(core::defaultPool().footprint()) / kMebibyte,
                                1);
    return static_cast<size_t>(std::snprintf(buffer, size, "%sMB", footprint.text()));
}

// Reading it begins a new count of allocations and releases, unless only a publisher looks.
size_t printAllocator(unsigned int mode, char* buffer, size_t size, void*) {
    const core::Fixed held(static_cast<double>(qz::getSTLAllocatorCounter()) / kMebibyte, 2);
    const common::AllocatorActivity activity = mode == QZ_PUBLISH_WATCH_MODE
                                                   ? common::allocatorActivity()
                                                   : common::takeAllocatorActivity();
    return static_cast<size_t>(std::snprintf(buffer, size, "total %s Mb, new %d, delete %d",
                                             held.text(), static_cast<int>(activity.allocations),
                                             static_cast<int>(activity.releases)));
}

// Null if there is no memory, for the object or for what it holds: a host that loads the library
// must not end because of that.
template<class Object, class... Arguments>
Object* makeOrNull(Arguments... arguments) {
    try {
        return new Object(arguments...);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void makeFactoryManager() {
    Common::globalFactoryManager = makeOrNull<Common::FactoryManager>();
    if (Common::globalFactoryManager != nullptr) {
        Common::globalFactoryManager->addRef();
    }
}

// The pointer stays: whoever holds a reference of his own goes on using it.
void dropFactoryManager() {
    if (Common::globalFactoryManager != nullptr) {
        Common::globalFactoryManager->release();
    }
}

// What would be made by static initialisers if their order could be relied on.
void initialiseStatics() {
    globals::makeRegistry();
    common::openGlobalProfiler();
    mail::openMemory();
}

void attach() {
    platform::prepareFence();
    initialiseStatics();
    // Numbers are printed and read with a point, whatever the user's locale.
    std::setlocale(LC_NUMERIC, "C");
    QZ_get_ticks();
    qz_log_init();
    core::openWatchTable();
    core::defaultPool().open();
    QZ_watch_set(kMainPoolWatch, printMainPool, nullptr);
    lua::createPool();
    common::resetAllocatorCounters();
    QZ_watch_set(kAllocatorWatch, printAllocator, nullptr);
    globalConfig = QZ_lua_open("Config");
    QZ_lua_openlibs(globalConfig);
    makeFactoryManager();
    globalMail = mailServer = makeOrNull<Mail::ServerImpl>(kDirectMailboxes);
    attached = true;
}

// The process goes on without the library, and nobody is in a call.
void detach() {
    dropFactoryManager();
    delete std::exchange(globalMail, nullptr);
    mail::closeMemory();
    QZ_lua_close(globalConfig);
    globalConfig = nullptr;
    lua::destroyPool();
    vfs_deinit();
    globals::releaseRegistry();
    common::closeGlobalProfiler();
    QZ_watch_reset(kMainPoolWatch);
    core::defaultPool().close();
    core::closeWatchTable();
    core::closeLogAtUnload(kForLogAtUnload);
    util::closePublication(); // behind the log's last lines
    core::closeLogReadersAtUnload();
    core::deleteObjectsAtUnload();
    tasks::WaitLine::releaseAll();
}

// The process ends: other threads may be in the middle of any call, and the host's static objects
// may make another. What they use stays and goes with the process; but no task begins any more, and
// there is nobody to receive messages.
void detachAtExit() {
    tasks::discardAtExit();
    if (mailServer != nullptr) {
        mailServer->close();
    }
    core::closeLogAtUnload(kForLogAtExit);
    util::closePublication();
}

} // namespace

constinit FPS_Controller* globalFpsController = &fpsController;
QZ_EXPORT_BY_NAME(FPS_Controller*, globalFpsController);

RandomManager* globalRandomManager() {
    return &random_tables::defaultManager();
}

void platform::onAttach() {
    if (!attached) {
        attach();
    }
}

// When every other thread was killed in the middle of what it did, nothing can be taken down
// safely, and nothing needs to be: the process ends. Only what is already in the log's queue is
// brought to safety.
void platform::onDetach(Detach reason) {
    if (!std::exchange(attached, false)) {
        return;
    }
    switch (reason) {
    case Detach::unload:
        detach();
        break;
    case Detach::exit:
        detachAtExit();
        break;
    case Detach::threadsAreGone:
        core::rescueLogAtProcessEnd();
        break;
    }
}
