// SPDX-License-Identifier: Apache-2.0
// The document builder behind every JSON document: the value types a field's
// C type becomes (the command's JSON and the Python objects depend on them),
// members in the order they are put whatever the order values were made in,
// a replaced member keeping its place, and a builder reused after a document.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "document.h"

namespace {

using fdump::document_builder;
using fdump::json;
using fdump::json_builder;

TEST(DocumentBuilder, ScalarsTakeTheTypeTheirCTypeHas) {
    json_builder b;
    const auto o = b.object(9);
    const std::string made = "made";
    b.put(o, "flag", b.make(true));
    b.put(o, "byte", b.make(uint8_t{200}));
    b.put(o, "signed", b.make(int32_t{-40}));
    b.put(o, "count", b.make(std::size_t{7}));
    b.put(o, "double", b.make(0.1));  // narrowed to the document's single precision
    b.put(o, "dark", b.make(-std::numeric_limits<double>::infinity()));
    b.put(o, "literal", b.make("OMA"));
    b.put(o, "string", b.make(made));
    b.put(o, "null", b.null());
    const json d = b.take(o);
    EXPECT_EQ(d.dump(), R"({"flag":true,"byte":200,"signed":-40,"count":7,"double":0.1,"dark":null,)"
                        R"("literal":"OMA","string":"made","null":null})");
    EXPECT_TRUE(d["flag"].is_boolean());
    EXPECT_TRUE(d["byte"].is_number_unsigned());
    EXPECT_FALSE(d["signed"].is_number_unsigned());
    EXPECT_TRUE(d["count"].is_number_unsigned());
    EXPECT_EQ(d["double"].get<float>(), 0.1f);
    EXPECT_TRUE(std::isinf(d["dark"].get<float>()));
}

TEST(DocumentBuilder, MembersFollowThePutOrderWhateverTheMakingOrder) {
    json_builder b;
    for (int round = 0; round < 2; ++round) {  // the same builder, reused
        const auto o = b.object(4);
        const auto list = b.array(2);
        const auto first = b.text(std::string("first"));
        const auto second = b.integer(2);
        const auto third = b.unsigned_integer(3);
        b.put(o, "third", third);   // the top slot
        b.push(list, first);        // below the top: a hole
        b.push(list, second);       // the top, then the hole under it
        b.put(o, "list", list);
        b.put(o, "summary", b.null());
        b.replace(o, "summary", b.text("filled last, listed where it was put"));
        EXPECT_EQ(b.take(o).dump(), R"({"third":3,"list":["first",2],"summary":"filled last, listed where it was put"})")
            << "round " << round;
    }
}

TEST(DocumentBuilder, ObjectWriterAndArraysOfCArrays) {
    json_builder b;
    const float powers[3] = {-2.5f, 0.0f, 1.25f};
    const uint8_t oui[3] = {0x00, 0x90, 0x65};
    fdump::object_writer o(b, 3);
    o.put("rx_power", fdump::array_of(b, powers)).put("vendor_oui", fdump::array_of(b, oui)).put("lanes", 4u);
    EXPECT_EQ(b.take(o.value).dump(), R"({"rx_power":[-2.5,0.0,1.25],"vendor_oui":[0,144,101],"lanes":4})");
}

}  // namespace
