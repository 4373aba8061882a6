#pragma once

#include <boost/preprocessor/seq/enum.hpp>
#include <boost/preprocessor/seq/transform.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <vector>

/// The order of a class's data members, private ones included, for classes whose layout others are built against.
///
///     DESCRIBE_FIELDS(StatusFields, Status, (code_)(message_)(category_))    // in the global namespace
///     EXPECT_TRUE(areInOrder(fieldOffsets(StatusFields())));
///
/// The argument list of an explicit instantiation may name private members ([temp.spec]/6). The Itanium C++ ABI, which
/// g++ and clang++ follow, represents a pointer to a data member as its offset in bytes.

using FieldOffsets = std::vector<std::size_t>;

template <typename Member>
std::size_t fieldOffset(Member member) {
    std::ptrdiff_t offset = 0;
    static_assert(sizeof member == sizeof offset);
    std::memcpy(&offset, &member, sizeof offset);
    return static_cast<std::size_t>(offset);
}

template <typename Description, auto... MEMBERS>
struct DescribedFields {
    friend FieldOffsets fieldOffsets(Description) { return {fieldOffset(MEMBERS)...}; }
};

#define FIELD_POINTER(unused, class_, member) &class_::member
#define DESCRIBE_FIELDS(description, class_, members)  \
    struct description {                               \
        friend FieldOffsets fieldOffsets(description); \
    };                                                 \
    template struct DescribedFields<description,       \
                                    BOOST_PP_SEQ_ENUM(BOOST_PP_SEQ_TRANSFORM(FIELD_POINTER, class_, members))>;

/// Whether each member comes after the one before it.
inline bool areInOrder(const FieldOffsets& offsets) {
    return offsets.size() > 1 &&
           std::adjacent_find(offsets.begin(), offsets.end(), std::greater_equal<std::size_t>()) == offsets.end();
}
