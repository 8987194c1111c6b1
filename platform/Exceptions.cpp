#include "refcntr/platform/Exceptions.h"

namespace refcntr {

ExceptionBase::ExceptionBase(const RWCString& message) : itsMessage(message) {}
ExceptionBase::~ExceptionBase() = default;
ExceptionBase* ExceptionBase::Clone() const { return new ExceptionBase(*this); }
RWCString ExceptionBase::GetType() const { return "ExceptionBase"; }

ExceptionBase* RuntimeException::Clone() const { return new RuntimeException(*this); }
RWCString RuntimeException::GetType() const { return "RuntimeException"; }

ExceptionBase* AttributeNotFoundException::Clone() const { return new AttributeNotFoundException(*this); }
RWCString AttributeNotFoundException::GetType() const { return "AttributeNotFoundException"; }

}  // namespace refcntr
