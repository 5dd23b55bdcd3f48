// A thread waits for the signals, which all others block. So it may lock and allocate, as a signal
// handler may not.
#include "scan/output/signals.h"

#include "scan/output/run_log.h"

#include <csignal>
#include <cstring>
#include <pthread.h>
#include <unistd.h>
#include <utility>

namespace scan {

namespace {

// Never destroyed: a signal may come when the program is about to end by itself.
struct shared_names {
    std::recursive_mutex mutex;
    std::set<std::string> names;
    std::function<void(std::string const&)> say;
};
shared_names& shared() {
    static shared_names& only = *new shared_names;
    return only;
}

// What is ignored stays ignored, as nohup asks.
sigset_t ending_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int const signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) {
        struct sigaction action;
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    return signals;
}

void* wait_for_signal(void* signals) {
    int signal = 0;
    while (sigwait(static_cast<sigset_t const*>(signals), &signal) != 0)
        ;
    temporary_files const files;
    for (std::string const& name : shared().names)
        unlink(name.c_str());
    std::string const ending =
        "Ended by signal " + std::to_string(signal) + ": " + strsignal(signal) + ".";
    // On a terminal the line of the progress may be unfinished.
    print_lines((isatty(STDERR_FILENO) == 1 ? "\n" : "") + ending);
    if (shared().say) shared().say(ending);
    _exit(128 + signal);
}

} // namespace

void handle_signals() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    static sigset_t const signals = ending_signals();
    shared();
    constexpr std::size_t STACK = 256 << 10; // the usual one would take megabytes of a tight limit
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, STACK);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    pthread_t thread;
    // Without the thread a signal ends the program as it ends any other.
    if (pthread_create(&thread, &attributes, wait_for_signal, const_cast<sigset_t*>(&signals)) != 0)
        pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    pthread_attr_destroy(&attributes);
}

last_words::last_words(std::function<void(std::string const&)> say) {
    temporary_files const held;
    shared().say = std::move(say);
}

last_words::~last_words() {
    temporary_files const held;
    shared().say = nullptr;
}

temporary_files::temporary_files() : held_(shared().mutex) {}

void temporary_files::add(std::string const& name) {
    shared().names.insert(name);
}

void temporary_files::remove(std::string const& name) {
    shared().names.erase(name);
}

} // namespace scan
