// SPDX-License-Identifier: Apache-2.0
// json_builder: the document as an nlohmann::json value (see document.h).
#include "document.h"

#include <tuple>
#include <utility>

namespace fdump {

// Values are put in the order they were made, as a rule, so the slots are a
// stack: putting the value on top frees its slot. A value put from below the
// top leaves a hole, freed once the slots above it are.
void json_builder::release(value v) {
    if (static_cast<std::size_t>(v) != slots_.size()) {
        holes_.push_back(static_cast<std::size_t>(v));
        return;
    }
    slots_.pop_back();
    for (auto hole = holes_.begin(); hole != holes_.end();) {
        if (*hole != slots_.size()) {
            ++hole;
            continue;
        }
        slots_.pop_back();
        holes_.erase(hole);
        hole = holes_.begin();
    }
}

document_builder::value json_builder::object(std::size_t members) {
    const value v = add(json::value_t::object);
    slot(v).get_ref<json::object_t &>().reserve(members);
    return v;
}

// Keys are distinct by construction, so a member is appended without looking
// its key up; it is moved in, since growing an ordered object copies the
// members it holds (their keys are const), hence the room reserved above.
void json_builder::put(value object, const char *key, value member) {
    slot(object).get_ref<json::object_t &>().emplace_back(std::piecewise_construct, std::forward_as_tuple(key),
                                                          std::forward_as_tuple(std::move(slot(member))));
    release(member);
}

void json_builder::replace(value object, const char *key, value member) {
    slot(object)[key] = std::move(slot(member));
    release(member);
}

document_builder::value json_builder::array(std::size_t items) {
    const value v = add(json::value_t::array);
    slot(v).get_ref<json::array_t &>().reserve(items);
    return v;
}

void json_builder::push(value array, value item) {
    slot(array).get_ref<json::array_t &>().push_back(std::move(slot(item)));
    release(item);
}

json json_builder::take(value v) {
    json document = std::move(slot(v));
    release(v);
    return document;
}

}  // namespace fdump
