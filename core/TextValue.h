// The stored value of a text attribute, in 16 bytes: up to 15 characters in place, longer texts
// on the heap. Half the size of an RWCString: an item with fifty text attributes (a directory
// record) is 800 bytes smaller, and a text is copied out as an RWCString when asked for.
#pragma once

#include <cstddef>
#include <cstring>

#include "refcntr/platform/Arena.h"
#include "refcntr/platform/Types.h"

namespace refcntr {

class TextValue {
public:
    TextValue() noexcept { SetInlineSize(0); }
    TextValue(const RWCString& text) { Assign(text.data(), text.size()); }  // implicit: `member = text`
    TextValue(const TextValue& other) { Assign(other.data(), other.size()); }
    TextValue(TextValue&& other) noexcept {
        std::memcpy(itsBytes, other.itsBytes, sizeof itsBytes);
        other.SetInlineSize(0);
    }
    TextValue& operator=(const TextValue& other) {
        if (this != &other) Replace(other.data(), other.size());
        return *this;
    }
    TextValue& operator=(TextValue&& other) noexcept {
        if (this != &other) {
            Release();
            std::memcpy(itsBytes, other.itsBytes, sizeof itsBytes);
            other.SetInlineSize(0);
        }
        return *this;
    }
    TextValue& operator=(const RWCString& text) {
        Replace(text.data(), text.size());
        return *this;
    }
    ~TextValue() { Release(); }

    operator RWCString() const { return RWCString(data(), size()); }
    const char* data() const { return OnHeap() ? HeapText() : itsBytes; }
    std::size_t size() const { return OnHeap() ? HeapSize() : std::size_t(UINT8(itsBytes[lastByte])); }
    bool empty() const { return size() == 0; }
    // Replaces the value with `length` characters from `text`.
    void Replace(const char* text, std::size_t length) {
        Release();
        Assign(text, length);
    }

    friend bool operator==(const TextValue& left, const TextValue& right) {
        return left.size() == right.size() && std::memcmp(left.data(), right.data(), left.size()) == 0;
    }
    friend bool operator!=(const TextValue& left, const TextValue& right) { return !(left == right); }

private:
    static constexpr std::size_t lastByte = 15;
    static constexpr UINT8 onHeapMark = 0xFF;  // in the last byte; otherwise it holds the length

    bool OnHeap() const { return UINT8(itsBytes[lastByte]) == onHeapMark; }
    void SetInlineSize(std::size_t length) { itsBytes[lastByte] = char(length); }
    char* HeapText() const {
        char* text;
        std::memcpy(&text, itsBytes, sizeof text);
        return text;
    }
    std::size_t HeapSize() const {
        UINT32 length;
        std::memcpy(&length, itsBytes + sizeof(char*), sizeof length);
        return length;
    }
    void Assign(const char* text, std::size_t length) {
        if (length < lastByte + 1) {
            if (length != 0) std::memcpy(itsBytes, text, length);
            SetInlineSize(length);
            return;
        }
        char* heap = static_cast<char*>(allocateBlock(length));
        std::memcpy(heap, text, length);
        const UINT32 stored = UINT32(length);
        std::memcpy(itsBytes, &heap, sizeof heap);
        std::memcpy(itsBytes + sizeof heap, &stored, sizeof stored);
        itsBytes[lastByte] = char(onHeapMark);
    }
    void Release() {
        if (OnHeap()) releaseBlock(HeapText());
        SetInlineSize(0);
    }

    alignas(8) char itsBytes[16];
};

}  // namespace refcntr
