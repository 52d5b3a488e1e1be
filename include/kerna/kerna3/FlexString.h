// FlexString.h
//
// The library's string type. `String` is the flex_string that every exported signature names
// when it takes or returns a string other than `const char*` or `std::string`: 32 bytes, with
// up to 31 characters kept inline and longer strings on the heap through std::allocator.
// Because exported functions pass it by value, its layout is part of the library's binary
// interface and must not change. `MiniString` is the variant over malloc/realloc/free with a
// single pointer as its whole object.
#ifndef KERNA_KERNA3_FLEXSTRING_H_
#define KERNA_KERNA3_FLEXSTRING_H_

#include <memory>
#include <string>

#include "kerna/kerna3/detail/allocatorstringstorage.h"
#include "kerna/kerna3/detail/flex_string_shell.h"
#include "kerna/kerna3/detail/ministringstorage.h"
#include "kerna/kerna3/detail/smallstringopt.h"

namespace Tessaran {
namespace Kerna {

/// The library's string: inline buffer for up to 31 characters, exact heap growth beyond.
/// Not thread-safe; `c_str` writes the terminator into the object, so even readers sharing a
/// string need the caller's lock.
typedef flex_string<char, std::char_traits<char>, std::allocator<char>,
                    SmallStringOpt<AllocatorStringStorage<char, std::allocator<char> >, 31, char*> >
    String;

/// A string that is one pointer, over malloc/realloc/free; null while it has no capacity.
typedef flex_string<char, std::char_traits<char>, std::allocator<char>,
                    MiniStringStorage<char, std::allocator<char> > >
    MiniString;

static_assert(sizeof(String) == 32, "String is one buffer of 32 bytes");
static_assert(alignof(String) == alignof(char*), "String is aligned as a pointer");
static_assert(sizeof(MiniString) == sizeof(void*), "MiniString is one pointer");

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_FLEXSTRING_H_
