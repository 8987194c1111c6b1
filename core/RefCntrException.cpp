#include "refcntr/core/RefCntrException.h"

namespace refcntr {

RefCntrException::RefCntrException(const RWCString& message) : ExceptionBase(message) {}

RefCntrException::RefCntrException(const RefCntrException& other) = default;

RefCntrException& RefCntrException::operator=(const RefCntrException& other) = default;

RefCntrException::~RefCntrException() = default;

RefCntrException* RefCntrException::Clone() const { return new RefCntrException(*this); }

RWCString RefCntrException::GetType() const { return "RefCntrException"; }

}  // namespace refcntr
