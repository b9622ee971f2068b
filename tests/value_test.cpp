#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "collaborators/json.h"
#include "collaborators/value.h"

namespace veq {
namespace {

TEST(ValueConversions, TextsReadLikeThePlatform) {
  struct Case {
    const char* text;
    int64_t integer;
    int32_t int32;
    bool boolean;
    double real;
  };
  const Case cases[] = {
      {"  42abc", 42, 42, true, 42.0},
      {"abc", 0, 0, false, 0.0},
      {"0001", 1, 1, true, 1.0},
      {"000", 0, 0, false, 0.0},
      {"YES", 0, 0, true, 0.0},
      {"no", 0, 0, false, 0.0},
      {" +2.5kg", 2, 2, true, 2.5},
      {"99999999999999999999", INT64_MAX, INT32_MAX, true, 1e20},
      {"-99999999999999999999", INT64_MIN, INT32_MIN, true, -1e20},
      {"5000000000", 5000000000, INT32_MAX, true, 5e9},
  };
  for (const Case& c : cases) {
    const VEQValue v(c.text);
    EXPECT_EQ(v.integerValue(), c.integer) << c.text;
    EXPECT_EQ(v.intValue(), c.int32) << c.text;
    EXPECT_EQ(v.boolValue(), c.boolean) << c.text;
    EXPECT_DOUBLE_EQ(v.doubleValue(), c.real) << c.text;
    EXPECT_EQ(v.description(), c.text);
  }
}

TEST(ValueConversions, NumbersBooleansAndNull) {
  EXPECT_EQ(VEQValue(3.9).integerValue(), 3);
  EXPECT_EQ(VEQValue(1e300).integerValue(), INT64_MAX);
  EXPECT_EQ(VEQValue(5000000000LL).intValue(), 705032704);  // wraps like a C cast
  EXPECT_EQ(veqWrappingAdd(INT64_MAX, 1), INT64_MIN);        // so does legacy arithmetic
  EXPECT_EQ(veqWrappingMultiply(INT64_MIN, 20), 0);
  EXPECT_FALSE(VEQValue(0.0).boolValue());
  EXPECT_TRUE(VEQValue(0.5).boolValue());
  EXPECT_EQ(VEQValue(true).integerValue(), 1);
  EXPECT_EQ(VEQValue(true).description(), "1");
  EXPECT_EQ(VEQValue(0.1).description(), "0.1");
  EXPECT_EQ(VEQValue(3.0).description(), "3");
  EXPECT_EQ(VEQValue(VEQArray{1, "a"}).description(), R"([1,"a"])");

  const VEQDict row{{"a", 1}};
  const VEQValue& missing = row["nope"];
  EXPECT_TRUE(missing.isNull());
  EXPECT_EQ(row.stringForKey("nope"), "");
  EXPECT_EQ(VEQValue(nullptr).description(), "");
}

TEST(ValueDict, SharedKeyRowsStayIndependent) {
  auto keys = std::make_shared<const VEQDict::Keys>(VEQDict::Keys{"a", "b"});
  VEQDict first(keys, {1, 2});
  const VEQDict second(keys, {3});  // short value lists are padded with null
  first.set("c", 5);
  first.set("b", 9);
  first.remove("a");
  EXPECT_FALSE(second.contains("c"));
  EXPECT_TRUE(second["b"].isNull());
  EXPECT_EQ(second.integerForKey("a"), 3);
  EXPECT_EQ(*keys, (VEQDict::Keys{"a", "b"}));
  EXPECT_EQ(first, (VEQDict{{"b", 9}, {"c", 5}}));

  VEQDict copy = first;
  copy.set("d", 1);
  EXPECT_FALSE(first.contains("d"));
}

TEST(ValueDict, EqualityIgnoresOrderButNotKinds) {
  EXPECT_EQ((VEQDict{{"a", 1}, {"b", "x"}}), (VEQDict{{"b", "x"}, {"a", 1}}));
  EXPECT_NE((VEQDict{{"a", 1}}), (VEQDict{{"a", "1"}}));
  EXPECT_NE(VEQValue(1), VEQValue(1.5));
  EXPECT_EQ(VEQValue(VEQArray{1, VEQDict{{"k", "v"}}}), VEQValue(VEQArray{1, VEQDict{{"k", "v"}}}));
}

TEST(ValueJson, ParsesCollectionsOnlyAndKeepsKeyOrder) {
  const std::string text = R"({"b":1,"a":[2.5,"x",true,null,{"z":-3}],"ü":"é"})";
  const VEQValue parsed = stringToObject(text);
  ASSERT_TRUE(parsed.isDict());
  const VEQDict& d = parsed.dict();
  EXPECT_EQ(d.keyAt(0), "b");
  EXPECT_EQ(d["a"].array().at(0).kind(), VEQValue::Kind::Real);
  EXPECT_EQ(objectToJsonString(parsed), text);

  EXPECT_TRUE(stringToObject("[1,2]").isArray());
  for (const char* bad : {"42", "\"text\"", "true", "null", "", "{\"a\":", "[1,]", "{} x"})
    EXPECT_TRUE(stringToObject(bad).isNull()) << bad;
  // Nesting is bounded (brackets inside strings do not count): hostile depth
  // reads as unparseable instead of exhausting the stack.
  auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_TRUE(stringToObject(nested(kMaxJsonDepth)).isArray());
  EXPECT_TRUE(stringToObject(nested(kMaxJsonDepth + 1)).isNull());
  EXPECT_TRUE(stringToObject(nested(100000)).isNull());
  EXPECT_TRUE(stringToObject("[\"" + std::string(1000, '[') + "\"]").isArray());
  EXPECT_FALSE(objectToJsonString(VEQValue(5)).has_value());
  EXPECT_EQ(objectToJsonString(VEQValue(VEQDict())), "{}");
}

}  // namespace
}  // namespace veq
