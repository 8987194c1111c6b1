// An array of numbers owned by its container, with its count.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>

#include "refcntr/platform/Arena.h"

namespace refcntr {

// How an array attribute counts its length: in values, or in bytes (overlay data, palette
// data, pixel data and other byte buffers keep their length in bytes). A byte-counted array of
// wider values has room for as many values as it counts bytes: the first `count` bytes hold the
// data, the rest is zero, and every index below the count is a value of the array.
enum class CountUnit { Values, Bytes };

template <class T, CountUnit Unit = CountUnit::Values>
class OwnedArray {
public:
    OwnedArray() = default;
    OwnedArray(const OwnedArray& other) { copyFrom(other); }
    OwnedArray& operator=(const OwnedArray& other) {
        if (this != &other) {
            release();
            copyFrom(other);
        }
        return *this;
    }
    ~OwnedArray() { release(); }

    const T* values() const { return itsValues; }
    unsigned count() const { return itsCount; }
    // The value at `index`; throws std::out_of_range naming the attribute when the index is not
    // below the count (an absent array counts 0).
    T at(unsigned index, const char* attribute) const {
        if (index >= itsCount || !itsValues)
            throw std::out_of_range(std::string(attribute) + ": index " + std::to_string(index) + " is out of range (" +
                                    std::to_string(itsCount) + (Unit == CountUnit::Bytes ? " bytes)" : " values)"));
        return itsValues[index];
    }
    unsigned byteLength() const { return Unit == CountUnit::Values ? unsigned(itsCount * sizeof(T)) : itsCount; }

    // Takes ownership of an array allocated with new[]. Returns false, and changes nothing,
    // when it is the array already held.
    bool adopt(T* values, unsigned count) {
        if (values == itsValues) return false;
        release();
        itsValues = values;
        itsCount = count;
        itsInBlock = false;
        return true;
    }
    // Room for `count` zeroed values from the open arena (or the heap), to be filled and then
    // given to adoptBlock, or released with releaseBlock.
    static T* newBlock(unsigned count) {
        if (count == 0) return nullptr;
        T* block = static_cast<T*>(allocateBlock(std::size_t(count) * sizeof(T)));
        std::memset(block, 0, std::size_t(count) * sizeof(T));
        return block;
    }
    // Takes ownership of an array from newBlock.
    void adoptBlock(T* values, unsigned count) {
        release();
        itsValues = values;
        itsCount = values ? count : 0;
        itsInBlock = true;
    }
    // Changes one value of the array held; returns false when there is none or the index is
    // not below the count (the array never grows).
    bool setValue(T value, unsigned index) {
        if (!itsValues || index >= itsCount) return false;
        itsValues[index] = value;
        return true;
    }
    // Copies `count` values into a new array.
    void assignCopy(const T* values, unsigned count) { adoptBlock(duplicate(values, count), count); }

private:
    static T* duplicate(const T* values, unsigned count) {
        if (!values || count == 0) return nullptr;
        T* copy = static_cast<T*>(allocateBlock(std::size_t(count) * sizeof(T)));
        std::memcpy(copy, values, count * sizeof(T));
        return copy;
    }
    void copyFrom(const OwnedArray& other) {
        itsValues = duplicate(other.itsValues, other.itsCount);
        itsCount = itsValues ? other.itsCount : 0;
        itsInBlock = true;
    }
    void release() {
        if (itsInBlock)
            releaseBlock(itsValues);
        else
            delete[] itsValues;
        itsValues = nullptr;
        itsCount = 0;
    }

    T* itsValues = nullptr;
    unsigned itsCount = 0;
    bool itsInBlock = false;  // from newBlock or a copy, else from the user's new[]
};

}  // namespace refcntr
