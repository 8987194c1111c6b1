// DCMTK's log lines while this library reads a file, taken into the read notes instead of
// reaching the user's log: they are about the file being read, which the reader reports.
#pragma once

#include <string>
#include <vector>

namespace refcntr {

// While alive, what DCMTK logs on this thread (at the levels its logger is set to) goes to
// `notes` (or nowhere when null), each distinct line once; the appenders above DCMTK's logger do
// not get it, but still get what other threads log.
// When the last capture ends, DCMTK's logger is as it was.
class DcmtkLogCapture {
public:
    explicit DcmtkLogCapture(std::vector<std::string>* notes);
    ~DcmtkLogCapture();
    DcmtkLogCapture(const DcmtkLogCapture&) = delete;
    DcmtkLogCapture& operator=(const DcmtkLogCapture&) = delete;

private:
    std::vector<std::string>* itsOuterNotes;
    bool itsOuterCapturing;
};

}  // namespace refcntr
