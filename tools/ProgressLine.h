// A line on standard error that shows that a long piece of work goes on: after a second, the
// work's name and the seconds spent, refreshed in place, and gone when the work ends. Shown only
// when standard error is a terminal and standard output is not (output sent to a file or pipe).
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace refcntr::cli {

class ProgressLine {
public:
    explicit ProgressLine(std::string what);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

private:
    void Show();

    std::string itsWhat;
    std::mutex itsLock;
    std::condition_variable itsDone;
    bool itsFinished = false;
    bool itsShown = false;
    std::thread itsThread;
};

}  // namespace refcntr::cli
