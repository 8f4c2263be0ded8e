// Owners of what the control tree and the segment hand out: heap text and the two kinds of list.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "paramtype.h"

// The one owner of what `release` gives back. Unlike std::unique_ptr it can lend its place to an operation that fills a
// plain pointer, so that the owner has the answer at once, also inside one condition.
template <class T, void (*release_one)(T *)> class owned {
public:
    owned() = default;
    owned(std::nullptr_t) {}
    explicit owned(T *raw) : raw_(raw) {}
    owned(owned &&other) noexcept : raw_(other.release()) {}
    owned &operator=(owned &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~owned() { reset(); }

    T *get() const { return raw_; }
    T &operator*() const { return *raw_; }
    T *operator->() const { return raw_; }
    explicit operator bool() const { return raw_ != nullptr; }

    T *release() { return std::exchange(raw_, nullptr); }
    void reset(T *raw = nullptr)
    {
        if (T *old = std::exchange(raw_, raw))
            release_one(old);
    }

    // The emptied place itself, for an operation that writes it on success.
    T **place()
    {
        reset();
        return &raw_;
    }

private:
    T *raw_ = nullptr;
};

inline void release_text(char *text)
{
    free(text);
}

using owned_text = owned<char, release_text>;
using owned_int_list = owned<paramtype_int_list, paramtype_int_list_free>;
using owned_text_list = owned<paramtype_UTF8String_list, paramtype_UTF8String_list_free>;

// Where an operation puts its result: `op(handle, into(text), ...)`. The owner is empty where it writes nothing.
template <class Owner> auto into(Owner &owner)
{
    return owner.place();
}

// True where there is no text, or nothing in it.
inline bool is_empty(const owned_text &text)
{
    return !text || *text == '\0';
}

// The text as a user is to see it: a node that answered without a value shows as empty.
inline const char *text_or_empty(const owned_text &text)
{
    return text ? text.get() : "";
}
