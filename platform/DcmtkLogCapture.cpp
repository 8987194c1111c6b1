#include "refcntr/platform/DcmtkLogCapture.h"

#include <algorithm>
#include <mutex>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/oflog/appender.h>
#include <dcmtk/oflog/oflog.h>
#include <dcmtk/oflog/spi/logevent.h>

namespace refcntr {

namespace {

thread_local std::vector<std::string>* threadNotes = nullptr;
thread_local bool threadCapturing = false;

class NoteAppender : public dcmtk::log4cplus::Appender {
public:
    ~NoteAppender() override { destructorImpl(); }
    void close() override {}

protected:
    void append(const dcmtk::log4cplus::spi::InternalLoggingEvent& event) override {
        // Other threads' lines go on to the appenders above DCMTK's logger, as without a capture.
        if (!threadCapturing) {
            OFLog::getLogger("dcmtk").getParent().callAppenders(event);
            return;
        }
        if (threadNotes == nullptr) return;
        const std::string line(event.getMessage().c_str());
        if (std::find(threadNotes->begin(), threadNotes->end(), line) == threadNotes->end())
            threadNotes->push_back(line);
    }
};

// One appender on DCMTK's logger while any thread captures.
std::mutex captureLock;
unsigned captures = 0;
dcmtk::log4cplus::SharedAppenderPtr appender;
bool additivity = true;

dcmtk::log4cplus::Logger dcmtkLogger() { return OFLog::getLogger("dcmtk"); }

}  // namespace

DcmtkLogCapture::DcmtkLogCapture(std::vector<std::string>* notes)
    : itsOuterNotes(threadNotes),
      itsOuterCapturing(threadCapturing) {
    std::lock_guard<std::mutex> lock(captureLock);
    if (captures++ == 0) {
        dcmtk::log4cplus::Logger logger = dcmtkLogger();
        appender = dcmtk::log4cplus::SharedAppenderPtr(new NoteAppender);
        additivity = logger.getAdditivity();
        logger.addAppender(appender);
        logger.setAdditivity(false);
    }
    threadNotes = notes;
    threadCapturing = true;
}

DcmtkLogCapture::~DcmtkLogCapture() {
    std::lock_guard<std::mutex> lock(captureLock);
    threadNotes = itsOuterNotes;
    threadCapturing = itsOuterCapturing;
    if (--captures == 0) {
        dcmtk::log4cplus::Logger logger = dcmtkLogger();
        logger.removeAppender(appender);
        logger.setAdditivity(additivity);
        appender = dcmtk::log4cplus::SharedAppenderPtr();
    }
}

}  // namespace refcntr
