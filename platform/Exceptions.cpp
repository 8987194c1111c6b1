#include "refcntr/platform/Exceptions.h"

#include <cerrno>
#include <cstring>

namespace refcntr {

ExceptionBase::ExceptionBase(const RWCString& message) : itsMessage(message) {}
ExceptionBase::~ExceptionBase() = default;
ExceptionBase* ExceptionBase::Clone() const { return new ExceptionBase(*this); }
RWCString ExceptionBase::GetType() const { return "ExceptionBase"; }

ExceptionBase* RuntimeException::Clone() const { return new RuntimeException(*this); }
RWCString RuntimeException::GetType() const { return "RuntimeException"; }

ExceptionBase* AttributeNotFoundException::Clone() const { return new AttributeNotFoundException(*this); }
RWCString AttributeNotFoundException::GetType() const { return "AttributeNotFoundException"; }

std::string describeSystemError(int error) {
    switch (error) {
    case ENOENT: return "no such file";
    case ENOSPC: return "no space left on device";
    case EDQUOT: return "disk quota exceeded";
    case EFBIG: return "file too large";
    default: break;
    }
    std::string text = std::strerror(error);
    if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') text[0] = char(text[0] - 'A' + 'a');
    return text;
}

}  // namespace refcntr
