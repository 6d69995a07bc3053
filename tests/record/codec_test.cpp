#include "record/codec.h"

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "expr/base64.h"
#include "expr/code_point.h"
#include "record/json_encode.h"
#include "record/schema.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using OstraneRecord::CodecOptions;
using OstraneRecord::InputError;
using OstraneRecord::RecordFormat;
using OstraneRecord::Schema;
using testing::HasSubstr;

const Schema& LoadSchema(const char* file) {
    auto* const schema = new Schema();
    InputError error;
    EXPECT_EQ(schema->ImportProto(std::string(OSTRANE_TESTDATA "/") + file, {}, error), 0) << error.ToStr();
    return *schema;
}

// Lives until the end of the program: records of all tests come from it.
const Schema& SchemaOf(const std::string& type) {
    static const Schema& kinds = LoadSchema("kinds.proto");
    static const Schema& open = LoadSchema("open.proto");
    return type.compare(0, 5, "open.") == 0 ? open : kinds;
}

std::unique_ptr<Message> NewRecord(const std::string& type = "kinds.All") {
    InputError error;
    return SchemaOf(type).NewRecord(SchemaOf(type).FindType(type, error));
}

std::unique_ptr<Message> FromText(const std::string& text, const std::string& type = "kinds.All") {
    std::unique_ptr<Message> record = NewRecord(type);
    google::protobuf::TextFormat::Parser parser;
    parser.AllowPartialMessage(true);
    EXPECT_TRUE(parser.ParseFromString(text, record.get())) << text;
    return record;
}

// The record that the bytes hold as text on one line, or the error.
std::string Read(RecordFormat format, const std::string& bytes, const std::string& type = "kinds.All",
                 bool partial = false) {
    std::unique_ptr<Message> record = NewRecord(type);
    CodecOptions options;
    options.partial = partial;
    InputError error;
    if (OstraneRecord::DecodeRecord(format, bytes.data(), bytes.size(), options, *record, error) != 0) {
        return std::to_string(error.code) + " " + error.ToStr();
    }
    std::string text;
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    printer.PrintToString(*record, &text);
    return text.empty() ? text : text.substr(0, text.size() - 1);
}

std::string ReadJson(const std::string& json, const std::string& type = "kinds.All") {
    return Read(RecordFormat::Json, json, type);
}

// The bytes of the record, or the error.
std::string Write(RecordFormat format, const Message& record, const CodecOptions& options = CodecOptions()) {
    std::string bytes = "left from before";
    InputError error;
    if (OstraneRecord::EncodeRecord(format, record, options, bytes, error) != 0) {
        return std::to_string(error.code) + " " + error.ToStr();
    }
    return bytes;
}

// One line of JSON without its end.
std::string WriteLine(const std::string& text, const std::string& type = "kinds.All") {
    std::string line = Write(RecordFormat::Ndjson, *FromText(text, type));
    if (!line.empty() && line.back() == '\n') {
        line.pop_back();
    }
    return line;
}

struct Pair {
    const char* text;  // of the record
    const char* json;
};

// Each way and back.
TEST(Json, CarriesEveryKind) {
    const Pair pairs[] = {
        {"", "{}"},
        {"i32: -2147483648", R"({"i32":-2147483648})"},
        {"i64: 9223372036854775807", R"({"i64":"9223372036854775807"})"},
        {"u32: 4294967295", R"({"u32":4294967295})"},
        {"u64: 18446744073709551615", R"({"u64":"18446744073709551615"})"},
        {"f: 0.1 d: 0.1", R"({"f":0.1,"d":0.1})"},
        {"f: inf d: -inf", R"({"f":"Infinity","d":"-Infinity"})"},
        {"d: nan", R"({"d":"NaN"})"},
        {"b: true", R"({"b":true})"},
        {"b: false i32: 0", R"({"i32":0,"b":false})"},
        {R"(s: "a\"\\\n\001\303\274")", R"({"s":"a\"\\\n\u0001ü"})"},
        {R"(raw: "\000\377a")", R"({"raw":"AP9h"})"},
        {"color: GREEN", R"({"color":"GREEN"})"},
        {"two_words: 1 renamed: 2", R"({"two_words":1,"renamed":2})"},
        {"i32s: 1 i32s: 2", R"({"i32s":[1,2]})"},
        {R"(strings: "a" strings: "")", R"({"strings":["a",""]})"},
        {"colors: RED colors: GREEN", R"({"colors":["RED","GREEN"]})"},
        {R"(parts { id: "a" count: 1 } parts { id: "" })", R"({"parts":[{"id":"a","count":1},{"id":""}]})"},
        {R"(by_name { key: "a" value: 0 } by_name { key: "b" value: 2 })", R"({"by_name":{"a":0,"b":2}})"},
        {R"(by_number { key: -2 value { id: "x" } } by_number { key: 10 value { id: "y" } })",
         R"({"by_number":{"-2":{"id":"x"},"10":{"id":"y"}}})"},
        {R"(by_flag { key: false value: "f" } by_flag { key: true value: "t" })",
         R"({"by_flag":{"false":"f","true":"t"}})"},
        {"by_natural { key: 9 value: 1.5 } by_natural { key: 10 value: 2 }", R"({"by_natural":{"9":1.5,"10":2}})"},
        {R"(by_long { key: -5000000000 value: "a" } by_long { key: 3 value: "b" })",
         R"({"by_long":{"-5000000000":"a","3":"b"}})"},
        {R"(by_count { key: 0 value: "z" } by_count { key: 4294967295 value: "m" })",
         R"({"by_count":{"0":"z","4294967295":"m"}})"},
        {R"(s: "\r\t\010\014")", R"({"s":"\r\t\b\f"})"},
        {"inner { } list { } list { i32: 1 }", R"({"inner":{},"list":[{},{"i32":1}]})"},
        {"number: 0", R"({"number":0})"},
        {"time { seconds: 1709208000 nanos: 500000000 }", R"({"time":"2024-02-29T12:00:00.500Z"})"},
        {"duration { seconds: -1 nanos: -500000000 }", R"({"duration":"-1.500s"})"},
        {R"(mask { paths: "a_b.c" paths: "d" })", R"({"mask":"aB.c,d"})"},
        {R"(struct { fields { key: "a" value { null_value: NULL_VALUE } } })", R"({"struct":{"a":null}})"},
        {R"(value { list_value { values { number_value: 1 } values { null_value: NULL_VALUE } } })",
         R"({"value":[1,null]})"},
        {"value { null_value: NULL_VALUE }", R"({"value":null})"},
        {R"(values { bool_value: true } values { null_value: NULL_VALUE })", R"({"values":[true,null]})"},
        {R"(list_value { values { struct_value { } } })", R"({"list_value":[{}]})"},
        {"wrapped { value: 5 }", R"({"wrapped":"5"})"},
        {"null_value: NULL_VALUE", R"({"null_value":null})"},
        {R"(value_map { key: "k" value { null_value: NULL_VALUE } })", R"({"value_map":{"k":null}})"},
        {"any { }", R"({"any":{}})"},
        {R"(any { [type.googleapis.com/kinds.Part] { id: "a" } })",
         R"({"any":{"@type":"type.googleapis.com/kinds.Part","id":"a"}})"},
        {R"(any { [type.googleapis.com/google.protobuf.Duration] { seconds: 1 } })",
         R"({"any":{"@type":"type.googleapis.com/google.protobuf.Duration","value":"1s"}})"},
    };
    for (const Pair& pair : pairs) {
        EXPECT_EQ(WriteLine(pair.text), pair.json);
        std::string expected;
        google::protobuf::TextFormat::Printer printer;
        printer.SetSingleLineMode(true);
        printer.PrintToString(*FromText(pair.text), &expected);
        EXPECT_EQ(ReadJson(pair.json), expected.substr(0, expected.empty() ? 0 : expected.size() - 1)) << pair.json;
    }
}

TEST(Json, IsIndentedInAFile) {
    const auto record = FromText(R"(i32s: 1 i32s: 2 parts { id: "a" } strings: "x" by_name { key: "k" value: 1 })");
    EXPECT_EQ(Write(RecordFormat::Json, *record), R"({
  "i32s": [1, 2],
  "strings": [
    "x"
  ],
  "parts": [
    {
      "id": "a"
    }
  ],
  "by_name": {
    "k": 1
  }
}
)");
    EXPECT_EQ(Write(RecordFormat::Json, *FromText("inner { }")), "{\n  \"inner\": {}\n}\n");
}

TEST(Json, CamelNamesAreReadAndWrittenOnDemand) {
    CodecOptions camel;
    camel.camelNames = true;
    EXPECT_EQ(Write(RecordFormat::Ndjson, *FromText("two_words: 1 renamed: 2"), camel),
              "{\"twoWords\":1,\"other\":2}\n");
    EXPECT_EQ(ReadJson(R"({"twoWords":1,"other":2})"), "two_words: 1 renamed: 2");
}

// Read as protobuf's mapping has it, though written otherwise.
TEST(Json, ReadsOtherSpellings) {
    const Pair pairs[] = {
        {"i32: 100", R"({"i32":1e2})"},
        {"i32: 100", R"({"i32":"1e+2"})"},
        {"i32: 2", R"({"i32":2.0})"},
        {"i32: -7", R"({"i32":"-7"})"},
        {"i32: 0", R"({"i32":-0})"},
        {"i64: 9007199254740993", R"({"i64":9007199254740993})"},
        {"u64: 18446744073709551615", R"({"u64":18446744073709551615})"},
        {"u64: 10000000000000000000", R"({"u64":1e19})"},
        {"d: 1.5", R"({"d":"1.5"})"},
        {"d: 0", R"({"d":1e-400})"},
        {"f: 0", R"({"f":1e-60})"},
        {"raw: \"a\"", R"({"raw":"YQ"})"},
        {"raw: \"\\373\\377\"", R"({"raw":"-_8="})"},
        {"color: GREEN", R"({"color":1})"},
        {"", R"({"i32":null,"i32s":null,"by_name":null,"inner":null,"wrapped":null,"text":null,"number":null})"},
        {"s: \"\\360\\237\\230\\200/\"", R"({"s":"\ud83d\ude00\/"})"},
        {"any { [type.googleapis.com/kinds.Part] { id: \"a\" } }",
         R"({"any":{"id":"a","@type":"type.googleapis.com/kinds.Part"}})"},
        {R"(any { [type.googleapis.com/kinds.All] { i32: 7 d: 1500 b: true strings: "s" inner { i32s: 1 list { } } } })",
         R"({"any":{"inner":{"i32s":[1],"list":[{}]},"d":1.5e+3,"b":true,"strings":["s"],"by_name":null,"i32":7,)"
         R"("@type":"type.googleapis.com/kinds.All"}})"},
        {"any { [type.googleapis.com/google.protobuf.Duration] { seconds: 1 } }",
         R"({"any":{"value":"1s","@type":"type.googleapis.com/google.protobuf.Duration"}})"},
        {"text: \"a\"", R"({"number":null,"text":"a"})"},
        {"i32: 1", " \t\r\n{ \"i32\" : 1 } \n"},
    };
    for (const Pair& pair : pairs) {
        EXPECT_EQ(ReadJson(pair.json), Read(RecordFormat::Text, pair.text)) << pair.json;
    }
}

struct BadInput {
    const char* bytes;
    const char* error;
};

TEST(Json, BrokenTextIsToldWithItsPlace) {
    const BadInput rows[] = {
        {"", "-256 1:1: expected '{', found the end of the text"},
        {"[1]", "-256 1:1: expected '{', found '['"},
        {"{\"i32\":1", "-256 1:9: expected ',' or '}', found the end of the text"},
        {"{\"i32\" 1}", "-256 1:8: expected ':' after the name, found '1'"},
        {"{\n  \"i32\": 1,\n  \"i64\" 2\n}", "-256 3:9: expected ':' after the name, found '2'"},
        {"{\"s\":\"ü\",}", "-256 1:10: a comma stands before the closing bracket"},
        {"{i32:1}", "-256 1:2: expected a name in double quotes, found 'i'"},
        {"{'i32':1}", "-256 1:2: expected a name in double quotes, found '''"},
        {"{\"i32\":1} x", "-256 1:11: expected the end of the text, found 'x'"},
        {"{\"b\":tru}", "-256 1:6: expected a value, found 't'"},
        {"{\"i32\":01}", "-256 1:8: a number with a leading zero"},
        {"{\"i32\":1.}", "-256 1:10: expected a digit after the point, found '}'"},
        {"{\"i32\":-}", "-256 1:9: expected a digit, found '}'"},
        {"{\"s\":\"a", "-256 1:6: the string has no closing quote"},
        {"{\"s\":\"a\nb\"}", "-256 1:8: a control character in a string, which needs an escape"},
        {"{\"s\":\"\xff\"}", "-256 1:7: the string is not UTF-8"},
        {"{\"s\":\"\\q\"}", "-256 1:7: an unknown escape in a string"},
        {"{\"s\":\"\\ud800\"}", "-256 1:7: a high surrogate without a low one behind it"},
        {"{\"s\":\"\\udc00\"}", "-256 1:7: a low surrogate without a high one before it"},
        {"{\"s\":\"\\u12g4\"}", "-256 1:11: expected four hexadecimal digits"},
        {"{\"s\":\"\\ud800\\u0041\"}", "-256 1:7: a high surrogate without a low one behind it"},
        {"{\"s\":\"\\u12", "-256 1:11: expected four hexadecimal digits"},
        {"{\"s\":\"\\ud800\\u12", "-256 1:17: expected four hexadecimal digits"},
        {"{\"d\":1e}", "-256 1:8: expected a digit in the exponent, found '}'"},
        {"{\"d\":1e+", "-256 1:9: expected a digit in the exponent, found the end of the text"},
        {"{\"b\":\xff}", "-256 1:6: expected a value, found a byte that is not UTF-8"},
        {"{\"b\":\x01}", "-256 1:6: expected a value, found a control character"},
        {"{\"any\":{\"a\":x,\"@type\":\"x/kinds.Part\"}}", "-256 1:13: expected a value, found 'x'"},
        {"{\"any\":{\"@type\":\"x/kinds.Part\"", "-256 1:31: expected ',' or '}', found the end of the text"},
        {"{\"i32s\":[1 2]}", "-256 1:12: expected ',' or ']', found '2'"},
        {"{\"i32\":,}", "-256 1:8: expected a value, found ','"},
    };
    for (const BadInput& row : rows) {
        EXPECT_EQ(ReadJson(row.bytes), row.error) << row.bytes;
    }
}

TEST(Json, WhatDoesNotFitIsNamed) {
    const BadInput rows[] = {
        {R"({"i32z":1})", "-256 1:2: kinds.All has no field 'i32z'; did you mean 'i32'?"},
        {R"({"inner":{"zzzzzz":1}})",
         "-256 1:11: kinds.All has no field 'zzzzzz'; its fields are i32, i64, u32, u64, f, d, b, s, .."},
        {R"({"i32":1, "i32":2})", "-256 1:11: kinds.All.i32 stands twice in one object"},
        {R"({"two_words":1,"twoWords":2})", "-256 1:16: kinds.All.two_words stands twice in one object"},
        {R"({"inner":{},"inner":{}})", "-256 1:13: kinds.All.inner stands twice in one object"},
        {R"({"text":"a","number":1})",
         "-256 1:13: kinds.All.number is the second member of the oneof 'choice', which holds one"},
        {R"({"i32":4294967295})", "-256 1:8: kinds.All.i32 takes an int32, not 4294967295"},
        {R"({"i32":1.5})", "-256 1:8: kinds.All.i32 takes an int32, not 1.5"},
        {R"({"i32":"x"})", "-256 1:8: kinds.All.i32 takes an int32, not 'x'"},
        {R"({"i32":""})", "-256 1:8: kinds.All.i32 takes an int32, not ''"},
        {R"({"i32":[1]})", "-256 1:8: kinds.All.i32 takes an int32, not a list"},
        {R"({"i32":true})", "-256 1:8: kinds.All.i32 takes an int32, not true"},
        {R"({"i32":false})", "-256 1:8: kinds.All.i32 takes an int32, not false"},
        {R"({"i32":"1e+-2"})", "-256 1:8: kinds.All.i32 takes an int32, not 1e+-2"},
        {R"({"i32":"12345678901234567890123456789012345678901234567890123456789012345678901234567890"})",
         "-256 1:8: kinds.All.i32 takes an int32, not 123456789012345678901234567890123456789012345678901234567890.."},
        {R"({"inner":null,"i32s":"a"})", "-256 1:22: kinds.All.i32s takes a list, not the text 'a'"},
        {R"({"inner":false})", "-256 1:10: kinds.All.inner takes an object, not false"},
        {R"({"i32s":false})", "-256 1:9: kinds.All.i32s takes a list, not false"},
        {R"({"i32s":"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaüb"})",
         "-256 1:9: kinds.All.i32s takes a list, not the text "
         "'aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa..'"},
        {R"({"by_long":{"9223372036854775808":""}})",
         "-256 1:13: kinds.All.by_long takes keys of the type int64, not '9223372036854775808'"},
        {R"({"by_count":{"4294967296":""}})",
         "-256 1:14: kinds.All.by_count takes keys of the type uint32, not '4294967296'"},
        {R"({"any":{"@type":"x/kinds.Part","@type":"x/kinds.Part"}})", "-256 1:32: '@type' stands twice in one object"},
        {R"({"any":{"@type":"x/google.protobuf.Duration","value":"1s","more":1}})",
         "-256 1:59: an Any of the type 'x/google.protobuf.Duration' has one member 'value' beside '@type'"},
        {R"({"any":{"@type":"x/google.protobuf.Duration","value":"1s","value":"1s"}})",
         "-256 1:59: an Any of the type 'x/google.protobuf.Duration' has one member 'value' beside '@type'"},
        {R"({"u32":-1})", "-256 1:8: kinds.All.u32 takes a uint32, not -1"},
        {R"({"i64":9223372036854775808})", "-256 1:8: kinds.All.i64 takes an int64, not 9223372036854775808"},
        {R"({"u64":18446744073709551616})", "-256 1:8: kinds.All.u64 takes a uint64, not 18446744073709551616"},
        {R"({"u64":1e999999999999999999999})", "-256 1:8: kinds.All.u64 takes a uint64, not 1e999999999999999999999"},
        {R"({"d":1e400})", "-256 1:6: kinds.All.d takes a double, not 1e400"},
        {R"({"f":1e39})", "-256 1:6: kinds.All.f takes a float, not 1e39"},
        {R"({"d":"1,5"})", "-256 1:6: kinds.All.d takes a double, not '1,5'"},
        {R"({"b":1})", "-256 1:6: kinds.All.b takes true or false, not 1"},
        {R"({"s":5})", "-256 1:6: kinds.All.s takes a string, not 5"},
        {R"({"raw":"a"})", "-256 1:8: kinds.All.raw takes bytes as base64 text, not 'a'"},
        {R"({"raw":"!!!!"})", "-256 1:8: kinds.All.raw takes bytes as base64 text, not '!!!!'"},
        {R"({"raw":"YQ="})", "-256 1:8: kinds.All.raw takes bytes as base64 text, not 'YQ='"},
        {R"({"color":"GREE"})", "-256 1:10: the enum kinds.Color has no value 'GREE'; did you mean 'GREEN'?"},
        {R"({"color":7})", "-256 1:10: the enum kinds.Color has no value 7"},
        {R"({"color":true})", "-256 1:10: kinds.All.color takes the name of an enum value, not true"},
        {R"({"i32s":5})", "-256 1:9: kinds.All.i32s takes a list, not 5"},
        {R"({"parts":{"id":"a"}})", "-256 1:10: kinds.All.parts takes a list, not an object"},
        {R"({"i32s":[1, null]})", "-256 1:13: null inside the list of kinds.All.i32s is no element"},
        {R"({"parts":[null]})", "-256 1:11: null inside the list of kinds.All.parts is no element"},
        {R"({"by_name":{"a":null}})", "-256 1:17: null is no value of the map kinds.All.by_name"},
        {R"({"by_name":{"a":1,"a":2}})", "-256 1:19: the key 'a' of kinds.All.by_name stands twice"},
        {R"({"by_number":{"1":{"id":""},"1.0":{"id":""}}})",
         "-256 1:29: the key '1.0' of kinds.All.by_number stands twice"},
        {R"({"by_number":{"x":{}}})", "-256 1:15: kinds.All.by_number takes keys of the type int32, not 'x'"},
        {R"({"by_flag":{"1":"a"}})", "-256 1:13: kinds.All.by_flag takes keys of the type bool, not '1'"},
        {R"({"by_name":[1]})", "-256 1:12: kinds.All.by_name takes an object, not a list"},
        {R"({"inner":5})", "-256 1:10: kinds.All.inner takes an object, not 5"},
        {R"({"pair":{"left":1}})", "-256 1:2: the group kinds.All.pair has no form in JSON"},
        {R"({"[kinds.extra]":1})", "-256 1:2: kinds.All has no field '[kinds.extra]'"},
        {R"({"time":"yesterday"})",
         "-256 1:9: 'yesterday' is no time such as 2024-02-29T12:00:00Z, which google.protobuf.Timestamp takes"},
        {R"({"duration":"1"})", "-256 1:13: '1' is no duration such as 1.5s, which google.protobuf.Duration takes"},
        {R"({"any":{"id":"a"}})", "-256 1:8: an Any needs a member '@type' that names its type"},
        {R"({"any":{"@type":"type.googleapis.com/none.None"}})",
         "-256 1:8: the type 'type.googleapis.com/none.None' of an Any is not in the schema"},
        {R"({"any":{"@type":"x/kinds.All","i32s":[null]}})",
         "-256 1:39: null inside the list of kinds.All.i32s is no element"},
        {R"({"any":{"@type":"x/google.protobuf.Duration"}})",
         "-256 1:8: an Any of the type 'x/google.protobuf.Duration' needs a member 'value'"},
        {R"({"parts":[{"count":1}]})", "-537 a record of kinds.All lacks required fields: parts[0].id"},
    };
    for (const BadInput& row : rows) {
        EXPECT_EQ(ReadJson(row.bytes), row.error) << row.bytes;
    }
}

TEST(Json, WhatItCannotCarryIsNamedAndNeverDropped) {
    const BadInput rows[] = {
        {"Pair { left: 1 }", "-5145 the group kinds.All.pair has no form in JSON"},
        {"inner { list { Pair { } } }", "-5145 the group kinds.All.pair has no form in JSON"},
        {"[kinds.extra]: 1", "-5145 the extension kinds.extra has no form in JSON"},
        {"inner { [kinds.extra]: 0 }", "-5145 the extension kinds.extra has no form in JSON"},
        {R"(s: "a\377")", "-5145 the text of kinds.All.s is not UTF-8, which JSON cannot carry"},
        {R"(strings: "\355\240\200")", "-5145 the text of kinds.All.strings is not UTF-8, which JSON cannot carry"},
        {R"(by_name { key: "\377" value: 1 })",
         "-5145 the text of kinds.All.ByNameEntry.key is not UTF-8, which JSON cannot carry"},
        {"values { }", "-5145 a google.protobuf.Value without a kind has no form in JSON"},
        {"value { number_value: nan }", "-5145 a google.protobuf.Value that is no finite number has no form in JSON"},
        {"time { seconds: -99999999999999 }",
         "-5145 google.protobuf.Timestamp holds a time outside the years 1 to 9999"},
        {"duration { seconds: 1 nanos: -1 }",
         "-5145 google.protobuf.Duration holds a duration beyond 10000 years or with parts of different signs"},
        {R"(mask { paths: "a_1" })",
         "-5145 google.protobuf.FieldMask holds a field mask whose names camel case cannot carry"},
        {R"(any { type_url: "x/none.None" value: "" })", "-5145 the type 'x/none.None' of an Any is not in the schema"},
        {R"(any { type_url: "x/kinds.Part" value: "\n\377" })",
         "-5145 the value of an Any is no message of its type 'x/kinds.Part'"},
        {R"(any { [type.googleapis.com/kinds.All] { inner { Pair { } } } })",
         "-5145 the group kinds.All.pair has no form in JSON"},
    };
    for (const BadInput& row : rows) {
        EXPECT_EQ(WriteLine(row.bytes), row.error) << row.bytes;
    }
}

TEST(Json, UnknownFieldsAreNamedAtAnyDepth) {
    std::unique_ptr<Message> record = FromText("inner { list { i32: 1 } }");
    const Message& inner =
        record->GetReflection()->GetMessage(*record, record->GetDescriptor()->FindFieldByName("inner"));
    Message* const deep = inner.GetReflection()->MutableRepeatedMessage(
        const_cast<Message*>(&inner), inner.GetDescriptor()->FindFieldByName("list"), 0);
    deep->GetReflection()->MutableUnknownFields(deep)->AddVarint(999, 5);
    EXPECT_EQ(Write(RecordFormat::Json, *record), "-5145 the unknown field 999 of kinds.All has no form in JSON");
    EXPECT_THAT(Write(RecordFormat::Text, *record), HasSubstr("999: 5"));
    EXPECT_EQ(Read(RecordFormat::Binary, Write(RecordFormat::Binary, *record)), "inner { list { i32: 1 999: 5 } }");

    OstraneRecord::JsonOptions drop;
    drop.dropUnknownFields = true;
    std::string json;
    InputError error;
    bool found = false;
    EXPECT_EQ(OstraneRecord::MessageToJson(*record, drop, json, error, &found), 0);
    EXPECT_EQ(json, R"({"inner":{"list":[{"i32":1}]}})");
    EXPECT_TRUE(found);
    EXPECT_EQ(OstraneRecord::MessageToJson(*FromText("i32: 1"), drop, json, error, &found), 0);
    EXPECT_FALSE(found);
}

TEST(Json, OneFieldAlone) {
    const auto record =
        FromText(R"(i64: 5 i32s: 1 i32s: 2 parts { id: "a" } by_name { key: "k" value: 1 } strings: "s")");
    const OstraneRecord::JsonOptions options;
    const auto show = [&](const char* name, int index) {
        std::string json;
        InputError error;
        const FieldDescriptor* const field = record->GetDescriptor()->FindFieldByName(name);
        EXPECT_EQ(OstraneRecord::FieldToJson(*record, field, index, options, json, error), 0) << error.ToStr();
        return json;
    };
    EXPECT_EQ(show("i64", -1), "\"5\"");
    EXPECT_EQ(show("i32s", 1), "2");
    EXPECT_EQ(show("i32s", -1), "[1,2]");
    EXPECT_EQ(show("parts", 0), R"({"id":"a"})");
    EXPECT_EQ(show("by_name", 0), R"({"k":1})");
    EXPECT_EQ(show("by_name", -1), R"({"k":1})");
    EXPECT_EQ(show("strings", 0), "\"s\"");
    EXPECT_EQ(show("inner", -1), "{}");
}

TEST(Json, OpenEnumsKeepTheirNumbers) {
    EXPECT_EQ(ReadJson(R"({"size":7,"sizes":["LARGE",9]})", "open.Thing"), "size: 7 sizes: LARGE sizes: 9");
    EXPECT_EQ(WriteLine("size: 7 sizes: LARGE sizes: 9", "open.Thing"), R"({"size":7,"sizes":["LARGE",9]})");
}

TEST(Json, PresenceIsKept) {
    EXPECT_EQ(WriteLine("maybe: 0", "open.Thing"), R"({"maybe":0})");
    EXPECT_EQ(ReadJson(R"({"maybe":0,"plain":0})", "open.Thing"), "maybe: 0");
}

TEST(Json, DeepNestingIsAnError) {
    const auto nested = [](int depth) {
        std::string json;
        for (int i = 0; i < depth; ++i) {
            json += "{\"inner\":";
        }
        return json + "{}" + std::string(static_cast<size_t>(depth), '}');
    };
    EXPECT_THAT(ReadJson(nested(99)), HasSubstr("inner { inner {"));
    EXPECT_THAT(ReadJson(nested(100)), HasSubstr("messages are nested deeper than 100 levels"));
    EXPECT_THAT(ReadJson(nested(100000)), HasSubstr("messages are nested deeper than 100 levels"));
    EXPECT_THAT(ReadJson("{\"value\":" + std::string(100000, '[')), HasSubstr("nested deeper than"));
    EXPECT_THAT(ReadJson("{\"any\":{\"a\":" + std::string(100000, '[')), HasSubstr("nested deeper than 500 levels"));

    std::unique_ptr<Message> record = NewRecord();
    Message* level = record.get();
    for (int i = 0; i < 100; ++i) {
        level = level->GetReflection()->MutableMessage(level, level->GetDescriptor()->FindFieldByName("inner"));
    }
    EXPECT_EQ(Write(RecordFormat::Json, *record), "-5145 messages are nested deeper than 100 levels");
}

TEST(Json, TheLastOfEntriesWithOneKeyCounts) {
    const std::string entries("\xfa\x01\x05\x0a\x01k\x10\x01\xfa\x01\x05\x0a\x01k\x10\x02", 16);
    std::unique_ptr<Message> record = NewRecord();
    ASSERT_TRUE(record->ParseFromString(entries));
    EXPECT_EQ(Write(RecordFormat::Ndjson, *record), "{\"by_name\":{\"k\":2}}\n");
}

TEST(Text, ReadsAndWrites) {
    EXPECT_EQ(Read(RecordFormat::Text, "i32: 1 # a comment\ns: 'x'"), "i32: 1 s: \"x\"");
    EXPECT_EQ(Write(RecordFormat::Text, *FromText(R"(s: "\303\274" i32s: 1)")), "s: \"ü\"\ni32s: 1\n");
    // What is not UTF-8 is escaped, and reads back.
    EXPECT_EQ(Write(RecordFormat::Text, *FromText(R"(s: "\377")")), "s: \"\\377\"\n");
    EXPECT_EQ(Read(RecordFormat::Text, "[kinds.extra]: 5 Pair { left: 1 }"), "Pair { left: 1 } [kinds.extra]: 5");
}

TEST(Text, ErrorsCountFromOne) {
    EXPECT_EQ(Read(RecordFormat::Text, "i32: 1\nnone: 2"),
              "-256 2:5: Message type \"kinds.All\" has no field named \"none\".");
    EXPECT_EQ(Read(RecordFormat::Text, "50: 9"), "-256 1:1: Expected identifier, got: 50");
    EXPECT_THAT(Read(RecordFormat::Text, "i32: 4294967295"), HasSubstr("-256 1:6: Integer out of range"));
    EXPECT_EQ(Read(RecordFormat::Text, "parts { }"), "-537 a record of kinds.All lacks required fields: parts[0].id");
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "inner {";
    }
    EXPECT_THAT(Read(RecordFormat::Text, deep), HasSubstr("-256 1:"));
}

TEST(Binary, ReadsAndWrites) {
    const auto record = FromText(R"(i32: 150 s: "a" Pair { left: 1 } [kinds.extra]: 7)");
    EXPECT_EQ(Read(RecordFormat::Binary, Write(RecordFormat::Binary, *record)),
              "i32: 150 s: \"a\" Pair { left: 1 } [kinds.extra]: 7");
    EXPECT_EQ(Read(RecordFormat::Binary, ""), "");
    EXPECT_EQ(Write(RecordFormat::Binary, *FromText("i32: 150")), "\x08\x96\x01");
}

TEST(Binary, MapsAreWrittenInTheOrderOfTheirKeys) {
    std::string text;
    for (int i = 20; i > 0; --i) {
        text += "by_natural { key: " + std::to_string(i) + " value: 1 }";
    }
    const std::string bytes = Write(RecordFormat::Binary, *FromText(text));
    std::unique_ptr<Message> record = NewRecord();
    ASSERT_TRUE(record->ParseFromString(bytes));
    EXPECT_EQ(Write(RecordFormat::Binary, *record), bytes);
    // Field 34, a length of 11, the key's tag, the key 1.
    EXPECT_EQ(bytes.substr(0, 5), std::string("\x92\x02\x0b\x08\x01"));
}

TEST(Binary, EveryCutIsToldWithItsPlace) {
    const std::string bytes =
        Write(RecordFormat::Binary,
              *FromText(R"(i32: 150 d: 1.5 s: "abc" f: 1 parts { id: "x" count: 300 } Pair { left: 300 })"));
    std::unique_ptr<Message> record = NewRecord();
    int refused = 0;
    for (size_t size = 0; size < bytes.size(); ++size) {
        const std::string error = Read(RecordFormat::Binary, bytes.substr(0, size), "kinds.All", true);
        if (!record->ParsePartialFromString(bytes.substr(0, size))) {
            ++refused;
            EXPECT_THAT(error, HasSubstr("-256 the data ends inside ")) << size;
            EXPECT_THAT(error, HasSubstr(" at byte ")) << size;
        }
    }
    EXPECT_GT(refused, 20);
}

TEST(Binary, BrokenDataIsToldWithItsPlace) {
    const struct {
        std::string bytes;
        const char* error;
    } rows[] = {
        {"\x42\x05"
         "ab",
         "-256 the data ends inside kinds.All.s: 5 bytes wanted, 2 left at byte 2"},
        {"\x08", "-256 the data ends inside kinds.All.i32 at byte 1"},
        {"\x08\x01\x08\x80\x80", "-256 the data ends inside kinds.All.i32 at byte 3"},
        {"\x08\xff\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01",
         "-256 a number of more than ten bytes in kinds.All.i32 at byte 1"},
        {std::string("\0", 1), "-256 no field has the number 0, which stands in kinds.All at byte 0"},
        {"\x0f", "-256 a value of an unknown wire type in kinds.All at byte 1"},
        {"\x0c", "-256 a group ends that has not begun in kinds.All at byte 0"},
        {"\xeb\x03\x08\x01", "-256 the data ends inside a group of kinds.All.Pair at byte 4"},
        {"\xc2\x01\x03\x0a\x05x", "-256 the data ends inside kinds.Part.id: 5 bytes wanted, 1 left at byte 5"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Read(RecordFormat::Binary, row.bytes), row.error);
    }
    EXPECT_EQ(Read(RecordFormat::Binary,
                   "\x0a\x02"
                   "a\xff",
                   "open.Thing"),
              "-256 the text of open.Thing.name is not UTF-8 at byte 3");
}

TEST(Binary, DeepNestingIsAnError) {
    std::string bytes;
    for (int i = 0; i < 20000; ++i) {
        std::string length;
        for (size_t left = bytes.size(); left >= 0x80; left >>= 7) {
            length += static_cast<char>((left & 0x7F) | 0x80);
        }
        size_t top = bytes.size();
        while (top >= 0x80) {
            top >>= 7;
        }
        length += static_cast<char>(top);
        bytes = "\xca\x02" + length + bytes;
    }
    EXPECT_THAT(Read(RecordFormat::Binary, bytes),
                HasSubstr("-256 messages are nested deeper than 100 levels at byte"));
}

TEST(Required, AreNamedWithTheirPaths) {
    const char* const text = R"(parts { count: 1 } by_number { key: 1 value { } } inner { parts { } })";
    EXPECT_EQ(
        Write(RecordFormat::Json, *FromText(text)),
        "-537 a record of kinds.All lacks required fields: parts[0].id, by_number[0].value.id, inner.parts[0].id");
    EXPECT_EQ(Write(RecordFormat::Binary, *FromText("parts { }")),
              "-537 a record of kinds.All lacks required fields: parts[0].id");
    std::string many;
    for (int i = 0; i < 10; ++i) {
        many += "parts { } ";
    }
    EXPECT_THAT(Write(RecordFormat::Text, *FromText(many)), HasSubstr("parts[7].id and 2 more"));
}

TEST(Required, MayBeMissingWhenPartialIsAskedFor) {
    CodecOptions partial;
    partial.partial = true;
    for (const RecordFormat format :
         {RecordFormat::Json, RecordFormat::Ndjson, RecordFormat::Text, RecordFormat::Binary}) {
        const std::string bytes = Write(format, *FromText("parts { count: 1 }"), partial);
        EXPECT_EQ(Read(format, bytes, "kinds.All", true), "parts { count: 1 }");
        EXPECT_EQ(Read(format, bytes), "-537 a record of kinds.All lacks required fields: parts[0].id");
    }
}

TEST(Delimited, HasTheLengthBeforeTheRecord) {
    EXPECT_EQ(Write(RecordFormat::Delimited, *FromText("i32: 150")), "\x03\x08\x96\x01");
    const std::string text(200, 'x');
    EXPECT_EQ(Write(RecordFormat::Delimited, *FromText("s: '" + text + "'")), "\xcb\x01\x42\xc8\x01" + text);
    EXPECT_EQ(Write(RecordFormat::Delimited, *NewRecord()), std::string("\0", 1));
}

TEST(Formats, AreKnownByNameAndEnding) {
    for (const char* name : {"json", "ndjson", "text", "binary", "delimited"}) {
        RecordFormat format;
        ASSERT_TRUE(OstraneRecord::FormatOfName(name, format));
        EXPECT_STREQ(OstraneRecord::FormatName(format), name);
    }
    const struct {
        const char* file;
        const char* format;
    } rows[] = {{"a.json", "json"},      {"a.ndjson", "ndjson"}, {"a.jsonl", "ndjson"},   {"a.txtpb", "text"},
                {"a.textproto", "text"}, {"a.pbtxt", "text"},    {"a.prototxt", "text"},  {"d.x/a.pb", "binary"},
                {"a.bin", "binary"},     {"a.binpb", "binary"},  {"a.delim", "delimited"}};
    for (const auto& row : rows) {
        RecordFormat format;
        ASSERT_TRUE(OstraneRecord::FormatOfFile(row.file, format)) << row.file;
        EXPECT_STREQ(OstraneRecord::FormatName(format), row.format) << row.file;
    }
    RecordFormat format;
    EXPECT_FALSE(OstraneRecord::FormatOfFile("a.txt", format));
    EXPECT_FALSE(OstraneRecord::FormatOfFile(".json", format));
    EXPECT_FALSE(OstraneRecord::FormatOfName("xml", format));
}

// Encoding every valid code point and decoding it gives it back; what lies between is refused.
TEST(Utf8, ExhaustsTheCodePoints) {
    for (uint32_t codePoint = 0; codePoint < 0x110000; ++codePoint) {
        std::string text;
        OstraneCommon::AppendCodePoint(codePoint, text);
        const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
        ASSERT_EQ(OstraneCommon::IsUtf8(text), !isSurrogate) << codePoint;
        ASSERT_TRUE(isSurrogate || OstraneCommon::CodePointAt(text, 0).length == text.size());
        ASSERT_FALSE(text.size() > 1 && OstraneCommon::IsUtf8(text.substr(0, text.size() - 1))) << codePoint;
    }
    for (const char* bad : {"\xc0\x80", "\xc1\xbf", "\xe0\x80\x80", "\xf0\x80\x80\x80", "\xf4\x90\x80\x80", "\x80",
                            "\xf5\x80\x80\x80", "12345678\xff", "a\xe2\x82"}) {
        EXPECT_FALSE(OstraneCommon::IsUtf8(bad)) << bad;
    }
    EXPECT_EQ(OstraneCommon::ValidUtf8Prefix("12345678ab\xff", 11), 10U);
}

TEST(Base64, EveryLengthGoesBothWays) {
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        std::string text;
        OstraneCommon::AppendBase64(bytes, text);
        EXPECT_EQ(text.size(), (bytes.size() + 2) / 3 * 4);
        std::string back;
        EXPECT_TRUE(OstraneCommon::DecodeBase64(text, back));
        EXPECT_EQ(back, bytes);
        bytes += static_cast<char>(i * 7);
    }
}

TEST(Base64, ReadsBothAlphabetsAndNothingElse) {
    std::string bytes;
    for (const char* text : {"+/+/", "-_-_", "-/+_"}) {
        EXPECT_TRUE(OstraneCommon::DecodeBase64(text, bytes)) << text;
        EXPECT_EQ(bytes, "\xFB\xFF\xBF") << text;
    }
    for (const char* text : {"YQ==", "YQ"}) {
        EXPECT_TRUE(OstraneCommon::DecodeBase64(text, bytes)) << text;
        EXPECT_EQ(bytes, "a") << text;
    }
    for (const char* text : {"A", "A===", "====", "=", "YQ=", "YWI==", "YQ==YQ==", "Y Q=", "YQ\n", "YQ==="}) {
        EXPECT_FALSE(OstraneCommon::DecodeBase64(text, bytes)) << text;
    }
    EXPECT_EQ(bytes, "a");
}

}  // namespace
