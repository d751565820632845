// SPDX-License-Identifier: Apache-2.0
// The JSON document of a decoded module, rendered through a builder: one
// renderer (report.cpp, readings.cpp, describe.cpp) makes the document for
// every target. json_builder makes an nlohmann::json value, which the command
// writes, the exporter reads and the page shows; the Python package has a
// builder that makes Python objects directly, with no document in between.
#ifndef FIBERDECODE_DUMP_DOCUMENT_H
#define FIBERDECODE_DUMP_DOCUMENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace fdump {

// Keys keep the records' field order; floats are written with the precision
// of the records' own single-precision fields (-2.5, not -2.5000000001).
using json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, std::int64_t,
                                  std::uint64_t, float>;

// Makes the values of one document bottom-up: scalars, then objects and
// arrays that values are put into. A value is a handle the builder gave out;
// each is put into exactly one object or array, except the document itself.
// Keys are names with static storage (the renderer's string literals).
class document_builder {
public:
    enum class value : std::uintptr_t { none = 0 };  // none: no value made (a rendering without JSON)

    virtual value null() = 0;
    virtual value boolean(bool b) = 0;
    virtual value integer(std::int64_t n) = 0;
    virtual value unsigned_integer(std::uint64_t n) = 0;
    // A single-precision field's value; one that is not finite is written
    // as null.
    virtual value number(float x) = 0;
    virtual value text(std::string_view utf8) = 0;
    // Text made for the document (a builder may keep it as it is).
    virtual value text(std::string &&utf8) { return text(std::string_view(utf8)); }
    value text(const char *utf8) { return text(std::string_view(utf8)); }
    virtual value object(std::size_t members) = 0;  // room for `members`
    virtual void put(value object, const char *key, value member) = 0;
    // A key already put gets a new value, keeping its place.
    virtual void replace(value object, const char *key, value member) = 0;
    virtual value array(std::size_t items) = 0;  // room for `items`
    virtual void push(value array, value item) = 0;

    // A scalar as nlohmann::json would store it: bool, signed or unsigned
    // integer, float (doubles narrowed to the document's single precision),
    // text; a value made already is passed through.
    template <class T>
    value make(const T &v) {
        if constexpr (std::is_same_v<T, value>) return v;
        else if constexpr (std::is_same_v<T, bool>) return boolean(v);
        else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) return integer(v);
        else if constexpr (std::is_integral_v<T>) return unsigned_integer(v);
        else if constexpr (std::is_floating_point_v<T>) return number(static_cast<float>(v));
        else return text(std::string_view(v));
    }

protected:
    ~document_builder() = default;
};

// An object being rendered, members put in order:
//   object_writer o(b, 2); o.put("code", code).put("name", name); return o.value;
struct object_writer {
    document_builder &builder;
    document_builder::value value;
    object_writer(document_builder &b, std::size_t members) : builder(b), value(b.object(members)) {}
    template <class T>
    object_writer &put(const char *key, const T &member) {
        builder.put(value, key, builder.make(member));
        return *this;
    }
};

// A C array of scalars as a JSON array.
template <class T, std::size_t N>
document_builder::value array_of(document_builder &b, const T (&values)[N]) {
    const document_builder::value a = b.array(N);
    for (const T &v : values) b.push(a, b.make(v));
    return a;
}

// Builds an nlohmann::json document. The values under construction are kept
// in slots; putting a value moves it into its object or array and frees its
// slot.
class json_builder final : public document_builder {
public:
    // Values under construction at once: about the document's depth.
    json_builder() { slots_.reserve(32); }
    value null() override { return add(nullptr); }
    value boolean(bool b) override { return add(b); }
    value integer(std::int64_t n) override { return add(n); }
    value unsigned_integer(std::uint64_t n) override { return add(n); }
    value number(float x) override { return add(x); }
    using document_builder::text;
    value text(std::string_view utf8) override { return add(json::string_t(utf8)); }
    value text(std::string &&utf8) override { return add(std::move(utf8)); }
    value object(std::size_t members) override;
    void put(value object, const char *key, value member) override;
    void replace(value object, const char *key, value member) override;
    value array(std::size_t items) override;
    void push(value array, value item) override;

    // The finished document (a value not put anywhere).
    json take(value v);

private:
    // A new slot on top, its value made in place from `v`.
    template <class T>
    value add(T &&v) {
        slots_.emplace_back(std::forward<T>(v));
        return static_cast<value>(slots_.size());
    }
    json &slot(value v) { return slots_[static_cast<std::size_t>(v) - 1]; }
    void release(value v);

    std::vector<json> slots_;
    std::vector<std::size_t> holes_;  // slots below the top whose values were put
};

}  // namespace fdump

#endif
