// One presence bit per declared attribute of a container, in declaration order.
#pragma once

#include <bitset>

namespace refcntr {

template <unsigned N>
class PresenceBits {
public:
    int test(unsigned bit) const { return itsBits.test(bit) ? 1 : 0; }
    void set(unsigned bit) { itsBits.set(bit); }
    // A non-zero flag sets the bit, zero clears it.
    void set(unsigned bit, int flag) { itsBits.set(bit, flag != 0); }
    bool none() const { return itsBits.none(); }

private:
    std::bitset<N> itsBits;
};

}  // namespace refcntr
