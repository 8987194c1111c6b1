#include "ProgressLine.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "TerminalText.h"

namespace refcntr::cli {

ProgressLine::ProgressLine(std::string what) : itsWhat(escaped(what)) {
    // On a terminal that is not also where the output goes: there the output shows the progress.
    if (::isatty(STDERR_FILENO) && !::isatty(STDOUT_FILENO)) itsThread = std::thread([this] { Show(); });
}

ProgressLine::~ProgressLine() {
    if (!itsThread.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(itsLock);
        itsFinished = true;
    }
    itsDone.notify_one();
    itsThread.join();
    if (itsShown) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }
}

void ProgressLine::Show() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    std::unique_lock<std::mutex> lock(itsLock);
    if (itsDone.wait_for(lock, std::chrono::seconds(1), [this] { return itsFinished; })) return;
    do {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count();
        std::fprintf(stderr, "\r\033[K%s ... %lld s", itsWhat.c_str(), static_cast<long long>(seconds));
        std::fflush(stderr);
        itsShown = true;
    } while (!itsDone.wait_for(lock, std::chrono::milliseconds(500), [this] { return itsFinished; }));
}

}  // namespace refcntr::cli
