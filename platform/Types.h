// Basic value types, byte order and the string and container names used across refcntr.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "refcntr/platform/Arena.h"

namespace refcntr {

using UINT8 = std::uint8_t;
using INT16 = std::int16_t;
using UINT16 = std::uint16_t;
using INT32 = std::int32_t;
using UINT32 = std::uint32_t;
using FLOAT = float;
using DOUBLE = double;

// Text of every attribute, path and dump.
using RWCString = std::string;

// Ordered vector of values, ordered vector of (non-owned) pointers, singly linked list of pointers.
// The pointer vectors hold the items of sequences, tens of thousands of them in a big state, and
// take their memory from the arena that is open while those are read or written.
template <class T>
using RWTValOrderedVector = std::vector<T>;
template <class T>
using RWTPtrOrderedVector = std::vector<T*, ArenaAllocator<T*>>;
template <class T>
using RWTPtrSlist = std::list<T*>;

// Byte order of a data set and of the value bytes of its elements.
enum EndianType { LittleEndian, BigEndian };

}  // namespace refcntr
