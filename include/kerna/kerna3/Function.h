// Function.h
//
// The delegates TFunction0 to TFunction5: plain values of four fields that call either a plain
// function or a member function of an object, and that compare by target. They never allocate;
// a copy moves the four fields. A member function is stored as its code address with the object
// pointer already adjusted to the class that declares the function, so that the whole target
// fits the 8-byte `m_function` field.
#ifndef KERNA_KERNA3_FUNCTION_H_
#define KERNA_KERNA3_FUNCTION_H_

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <typeinfo>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// Stores the calling thread's function-reuse value (see getCurrentFunctionReuse). Called by a
/// delegate with a reuse tag immediately before it calls its target.
KERNA_API void setCurrentFunctionReuse(unsigned int value);

/// The class every member target is called through; it is never instantiated.
class DelegateTarget {};

/// The four fields and the logic shared by TFunction0 to TFunction5.
template <typename R, typename... Args>
class FunctionBase {
public:
    /// What a delegate holds.
    enum : uint32_t {
        kindEmpty = 0,      ///< holds nothing
        kindMember = 1,     ///< member function on an object
        kindPointer = 2,    ///< plain function
        kindReuseFirst = 16,  ///< first reuse tag; tags run to 0xFFFFFFFE
        kindAnyReuse = 0xFFFFFFFFu  ///< every reuse tag of one target; for comparison only
    };

    /// An empty delegate.
    FunctionBase() : m_function(nullptr), m_object(nullptr), m_kind(kindEmpty), m_objectType(nullptr) {}

    /// A plain function; a null function gives an empty delegate.
    FunctionBase(R (*function)(Args...))
        : m_function(reinterpret_cast<void*>(function)),
          m_object(nullptr),
          m_kind(function ? uint32_t(kindPointer) : uint32_t(kindEmpty)),
          m_objectType(nullptr) {}

    /// A member function on an object; always kindMember.
    template <typename X, typename Y>
    FunctionBase(R (X::*function)(Args...), Y* object) {
        bindMember(function, static_cast<X*>(object), typeid(object).name());
    }
    template <typename X, typename Y>
    FunctionBase(R (X::*function)(Args...) const, const Y* object) {
        bindMember(function, const_cast<X*>(static_cast<const X*>(object)), typeid(object).name());
    }

    /// True exactly when the delegate holds nothing.
    bool empty() const { return m_kind == kindEmpty; }

    /// Equality by target, with reuse tags: see the class comment of TFunction0.
    bool operator==(const FunctionBase& other) const {
        const uint32_t a = m_kind, b = other.m_kind;
        if (a >= kindReuseFirst && b >= kindReuseFirst) {
            if (a != kindAnyReuse && b != kindAnyReuse && a != b) return false;
        } else {
            if (a != b) return false;
            if (a == kindPointer) return m_function == other.m_function;
            if (a != kindMember) return true;
        }
        return m_function == other.m_function && m_object == other.m_object;
    }
    bool operator!=(const FunctionBase& other) const { return !(*this == other); }

    /// A copy of a member delegate stamped with a reuse tag from 16 to 0xFFFFFFFE. A delegate that
    /// holds no member function, or a tag outside that range, gives an unchanged copy.
    FunctionBase withReuse(uint32_t tag) const {
        FunctionBase copy(*this);
        if (isMember() && tag >= kindReuseFirst && tag < kindAnyReuse) copy.m_kind = tag;
        return copy;
    }
    /// A copy that stands for every reuse tag of this target (for comparison and detaching).
    FunctionBase anyReuse() const {
        FunctionBase copy(*this);
        if (isMember()) copy.m_kind = kindAnyReuse;
        return copy;
    }

    /// Calls the target. An empty delegate (or a kindAnyReuse one) calls nothing and returns a
    /// value-initialised R.
    R operator()(Args... args) const {
        if (m_kind == kindPointer) {
            return reinterpret_cast<R (*)(Args...)>(m_function)(static_cast<Args>(args)...);
        }
        if (m_kind == kindMember || (m_kind >= kindReuseFirst && m_kind != kindAnyReuse)) {
            if (m_kind != kindMember) setCurrentFunctionReuse(m_kind);
            MemberFn fn = memberFunction();
            return (static_cast<DelegateTarget*>(m_object)->*fn)(static_cast<Args>(args)...);
        }
        return R();
    }

    void* m_function;            ///< code address of the plain or member function
    void* m_object;              ///< object of a member function; 0 for a plain function
    uint32_t m_kind;             ///< kindEmpty, kindMember, kindPointer or a reuse tag
    const char* m_objectType;    ///< type name of the object pointer, for diagnostics

private:
    typedef R (DelegateTarget::*MemberFn)(Args...);

    // A member function pointer is two words under the Itanium ABI: the code address (or vtable
    // offset + 1 for a virtual function) and the adjustment to add to the object. The adjustment
    // is folded into the object so that one word remains.
    struct MemberRep {
        void* ptr;
        std::ptrdiff_t adj;
    };
    static_assert(sizeof(MemberFn) == sizeof(MemberRep), "unexpected member pointer layout");

    bool isMember() const {
        return m_kind == kindMember || (m_kind >= kindReuseFirst && m_kind != kindAnyReuse);
    }

    template <typename F>
    void bindMember(F function, void* object, const char* typeName) {
        static_assert(sizeof(F) == sizeof(MemberRep), "unexpected member pointer layout");
        MemberRep rep;
        std::memcpy(&rep, &function, sizeof rep);
        m_function = rep.ptr;
        m_object = object ? static_cast<char*>(object) + rep.adj : nullptr;
        m_kind = kindMember;
        m_objectType = typeName;
    }

    MemberFn memberFunction() const {
        MemberRep rep = {m_function, 0};
        MemberFn fn;
        std::memcpy(&fn, &rep, sizeof fn);
        return fn;
    }
};

}  // namespace Detail

/// Delegate with no argument. Comparison: two tagged delegates (kind 16 and up) must carry equal
/// tags unless one is kindAnyReuse; otherwise kinds must be equal, plain delegates compare their
/// function only, empty ones are equal; member and tagged delegates then compare function and
/// object. Calling an empty delegate is not meant: whoever holds an optional one tests empty().
template <typename R>
class TFunction0 : public Detail::FunctionBase<R> {
public:
    using Detail::FunctionBase<R>::FunctionBase;
    TFunction0() = default;
    TFunction0(const Detail::FunctionBase<R>& b) : Detail::FunctionBase<R>(b) {}
};

/// Delegate with one argument; see TFunction0.
template <typename R, typename A1>
class TFunction1 : public Detail::FunctionBase<R, A1> {
public:
    using Detail::FunctionBase<R, A1>::FunctionBase;
    TFunction1() = default;
    TFunction1(const Detail::FunctionBase<R, A1>& b) : Detail::FunctionBase<R, A1>(b) {}
};

/// Delegate with two arguments; see TFunction0.
template <typename R, typename A1, typename A2>
class TFunction2 : public Detail::FunctionBase<R, A1, A2> {
public:
    using Detail::FunctionBase<R, A1, A2>::FunctionBase;
    TFunction2() = default;
    TFunction2(const Detail::FunctionBase<R, A1, A2>& b) : Detail::FunctionBase<R, A1, A2>(b) {}
};

/// Delegate with three arguments; see TFunction0.
template <typename R, typename A1, typename A2, typename A3>
class TFunction3 : public Detail::FunctionBase<R, A1, A2, A3> {
public:
    using Detail::FunctionBase<R, A1, A2, A3>::FunctionBase;
    TFunction3() = default;
    TFunction3(const Detail::FunctionBase<R, A1, A2, A3>& b) : Detail::FunctionBase<R, A1, A2, A3>(b) {}
};

/// Delegate with four arguments; see TFunction0.
template <typename R, typename A1, typename A2, typename A3, typename A4>
class TFunction4 : public Detail::FunctionBase<R, A1, A2, A3, A4> {
public:
    using Detail::FunctionBase<R, A1, A2, A3, A4>::FunctionBase;
    TFunction4() = default;
    TFunction4(const Detail::FunctionBase<R, A1, A2, A3, A4>& b)
        : Detail::FunctionBase<R, A1, A2, A3, A4>(b) {}
};

/// Delegate with five arguments; see TFunction0.
template <typename R, typename A1, typename A2, typename A3, typename A4, typename A5>
class TFunction5 : public Detail::FunctionBase<R, A1, A2, A3, A4, A5> {
public:
    using Detail::FunctionBase<R, A1, A2, A3, A4, A5>::FunctionBase;
    TFunction5() = default;
    TFunction5(const Detail::FunctionBase<R, A1, A2, A3, A4, A5>& b)
        : Detail::FunctionBase<R, A1, A2, A3, A4, A5>(b) {}
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_FUNCTION_H_
