// The library's own exception type: a message and the type name "RefCntrException".
#pragma once

#include "refcntr/platform/Exceptions.h"

namespace refcntr {

class RefCntrException : public ExceptionBase {
public:
    explicit RefCntrException(const RWCString& message);
    RefCntrException(const RefCntrException& other);
    RefCntrException& operator=(const RefCntrException& other);
    ~RefCntrException() override;

    // A heap copy owned by the caller.
    RefCntrException* Clone() const override;
    RWCString GetType() const override;
};

}  // namespace refcntr
