/* SPDX-License-Identifier: Zlib */
/**
 * @file host/tagcall.h
 * @brief How the `...Tags` calls turn their arguments into a tag list.
 *
 * A C variadic function would read an `int` argument as a pointer-sized value, which is wrong on 64-bit
 * hosts. Each argument is therefore converted to TagData on its own, at the place of the call.
 *
 *     HOST_TAGLIST(WA_Left, 10, WA_Title, "Example", TAG_DONE)
 *
 * is a `const struct TagItem*` that lives until the end of the calling expression (C++) or block (C). A
 * TAG_DONE is always added. In C a call takes at most 38 arguments.
 */
#ifndef HOST_TAGCALL_H
#define HOST_TAGCALL_H

#include <utility/tagitem.h>

#ifdef __cplusplus

#    include <cstddef>
#    include <type_traits>

namespace host {

template <typename T>
TagData toTagData(T value) {
    if constexpr (std::is_null_pointer_v<T>)
        return 0;
    else if constexpr (std::is_pointer_v<T>)
        return reinterpret_cast<TagData>(value);
    else
        return static_cast<TagData>(value);
}

/** The arguments of one `...Tags` call as a tag list. */
template <std::size_t Words>
class TagArray {
public:
    template <typename... Args>
    explicit TagArray(Args... args) {
        const TagData words[Words + 2] = {toTagData(args)..., TAG_DONE, 0};
        for (std::size_t i = 0; i < Items; ++i)
            items_[i] = {static_cast<Tag>(words[2 * i]), words[2 * i + 1]};
    }
    operator const TagItem*() const { return items_; }

private:
    static constexpr std::size_t Items = Words / 2 + 1;
    TagItem items_[Items];
};

template <typename... Args>
TagArray<sizeof...(Args)> tagList(Args... args) {
    return TagArray<sizeof...(Args)>(args...);
}

} // namespace host

#    define HOST_TAGLIST(...) (static_cast<const TagItem*>(::host::tagList(__VA_ARGS__)))

#else

/* Takes the arguments two at a time; the zeroes behind them are TAG_DONE items. */
/* clang-format off */
#define HOST_TAG(t, d) {(Tag)(TagData)(t), (TagData)(d)}
#define HOST_TAGS_1(t, d, ...) HOST_TAG(t, d)
#define HOST_TAGS_2(t, d, ...) HOST_TAG(t, d), HOST_TAGS_1(__VA_ARGS__)
#define HOST_TAGS_3(t, d, ...) HOST_TAG(t, d), HOST_TAGS_2(__VA_ARGS__)
#define HOST_TAGS_4(t, d, ...) HOST_TAG(t, d), HOST_TAGS_3(__VA_ARGS__)
#define HOST_TAGS_5(t, d, ...) HOST_TAG(t, d), HOST_TAGS_4(__VA_ARGS__)
#define HOST_TAGS_6(t, d, ...) HOST_TAG(t, d), HOST_TAGS_5(__VA_ARGS__)
#define HOST_TAGS_7(t, d, ...) HOST_TAG(t, d), HOST_TAGS_6(__VA_ARGS__)
#define HOST_TAGS_8(t, d, ...) HOST_TAG(t, d), HOST_TAGS_7(__VA_ARGS__)
#define HOST_TAGS_9(t, d, ...) HOST_TAG(t, d), HOST_TAGS_8(__VA_ARGS__)
#define HOST_TAGS_10(t, d, ...) HOST_TAG(t, d), HOST_TAGS_9(__VA_ARGS__)
#define HOST_TAGS_11(t, d, ...) HOST_TAG(t, d), HOST_TAGS_10(__VA_ARGS__)
#define HOST_TAGS_12(t, d, ...) HOST_TAG(t, d), HOST_TAGS_11(__VA_ARGS__)
#define HOST_TAGS_13(t, d, ...) HOST_TAG(t, d), HOST_TAGS_12(__VA_ARGS__)
#define HOST_TAGS_14(t, d, ...) HOST_TAG(t, d), HOST_TAGS_13(__VA_ARGS__)
#define HOST_TAGS_15(t, d, ...) HOST_TAG(t, d), HOST_TAGS_14(__VA_ARGS__)
#define HOST_TAGS_16(t, d, ...) HOST_TAG(t, d), HOST_TAGS_15(__VA_ARGS__)
#define HOST_TAGS_17(t, d, ...) HOST_TAG(t, d), HOST_TAGS_16(__VA_ARGS__)
#define HOST_TAGS_18(t, d, ...) HOST_TAG(t, d), HOST_TAGS_17(__VA_ARGS__)
#define HOST_TAGS_19(t, d, ...) HOST_TAG(t, d), HOST_TAGS_18(__VA_ARGS__)
#define HOST_TAGS_20(t, d, ...) HOST_TAG(t, d), HOST_TAGS_19(__VA_ARGS__)
#define HOST_TAG_ZEROES 0,0,0,0,0,0,0,0,0,0, 0,0,0,0,0,0,0,0,0,0, 0,0,0,0,0,0,0,0,0,0, 0,0,0,0,0,0,0,0,0,0, 0,0,0
#define HOST_TAGS_ALL(...) HOST_TAGS_20(__VA_ARGS__)
#define HOST_TAGLIST(...) ((const struct TagItem[]){HOST_TAGS_ALL(__VA_ARGS__, HOST_TAG_ZEROES)})
/* clang-format on */

#endif

#endif
