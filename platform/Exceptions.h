// Exceptions of the data-object library: a common base, a runtime failure and a missing attribute.
#pragma once

#include <exception>
#include <string>

#include "refcntr/platform/Types.h"

namespace refcntr {

class ExceptionBase : public std::exception {
public:
    explicit ExceptionBase(const RWCString& message);
    ExceptionBase(const ExceptionBase&) = default;
    ExceptionBase& operator=(const ExceptionBase&) = default;
    ~ExceptionBase() override;

    // A copy allocated on the heap, owned by the caller; keeps the dynamic type.
    virtual ExceptionBase* Clone() const;
    // The name of the exception class.
    virtual RWCString GetType() const;

    const RWCString& GetMessage() const { return itsMessage; }
    const char* what() const noexcept override { return itsMessage.c_str(); }

private:
    RWCString itsMessage;
};

// An operation could not be carried out (an element that cannot be built, a file that cannot be read or written).
class RuntimeException : public ExceptionBase {
public:
    using ExceptionBase::ExceptionBase;
    ExceptionBase* Clone() const override;
    RWCString GetType() const override;
};

// A dictionary entry or attribute that was asked for does not exist (for example an unknown private creator).
class AttributeNotFoundException : public ExceptionBase {
public:
    using ExceptionBase::ExceptionBase;
    ExceptionBase* Clone() const override;
    RWCString GetType() const override;
};

// The system's reason for `error` (an errno value) as this library words it in messages:
// "no such file", "no space left on device".
std::string describeSystemError(int error);

}  // namespace refcntr
