#include "common/Json.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

namespace vale {

enum class Colour { red, green };
template <>
inline constexpr auto rawValues<Colour> = std::to_array<RawValue<Colour>>({{Colour::red, "red"},
                                                                           {Colour::green, "green"}});

namespace {

using namespace std::string_literals;

struct Inner {
  int count = 0;
  std::optional<Colour> colour;
  bool operator==(const Inner&) const = default;
};
BOOST_DESCRIBE_STRUCT(Inner, (), (count, colour))

struct Record {
  Uuid id;
  Date at;
  std::string name;
  bool flag = false;
  double number = 0;
  std::filesystem::path path;
  std::vector<Inner> list;
  std::map<std::string, std::vector<int>> table;
  std::optional<std::string> note;
  std::optional<Inner> inner;
  bool operator==(const Record&) const = default;
};
BOOST_DESCRIBE_STRUCT(Record, (), (id, at, name, flag, number, path, list, table, note, inner))

const std::string recordText =
    R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","at":7.97984517123456E8,"name":"é\"\\\n\u0000/","flag":true,)"
    R"("number":1E-1,"path":"/a b","list":[{"count":-2147483648,"colour":"green"},{"count":2}],"table":{"k":[1,2]},)"
    R"("inner":{"count":0}})";

std::string errorOf(const std::string& text) {
  try {
    decodeText<Record>(text);
    return "";
  } catch (const DecodeError& error) {
    return error.message;
  }
}

TEST(Json, aRecordComesBackAsItWasToTheByte) {
  const auto record = decodeText<Record>(recordText);
  EXPECT_EQ(record.name, "é\"\\\n\0/"s);
  EXPECT_EQ(secondsSince2001(record.at), 797984517.123456);
  EXPECT_EQ(record.list[0].colour, Colour::green);
  EXPECT_EQ(jsonText(encode(record)), recordText);
  // Unknown keys and null optionals do not matter, and the last of two values counts.
  std::string text = recordText;
  text.insert(1, R"("new":{"deep":[null]},"note":null,"flag":false,)");
  EXPECT_EQ(decodeText<Record>(text), record);
}

TEST(Json, theErrorNamesTheKeyThatIsMissingOrUnfit) {
  const auto changed = [](std::string_view from, std::string_view to) {
    std::string text = recordText;
    return text.replace(text.find(from), from.size(), to);
  };
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {R"("flag":true,)", "", "The key “flag” is missing."},
      {R"("flag":true)", R"("flag":1)", "The key “flag” is not true or false."},
      {R"("count":2)", R"("colour":"red")", "The key “list[1].count” is missing."},
      {R"("count":2)", R"("count":2.5)", "The key “list[1].count” is not a whole number."},
      {R"("count":2)", R"("count":2147483648)", "The key “list[1].count” is not a whole number of 32 bits."},
      {R"("count":2)", R"("count":18446744073709551616)",
       "The key “list[1].count” is not a whole number of 32 bits."},
      {R"("green")", R"("Green")", "The key “list[0].colour” is not one of its known names."},
      {R"([1,2])", R"([1,"2"])", "The key “table.k[1]” is not a whole number."},
      {R"({"count":0})", "[]", "The key “inner” is not an object."},
      {R"("0F8F)", R"("F8F)", "The key “id” is not a UUID."},
      {R"("/a b")", "null", "The key “path” is not a string."},
      {recordText, "[]", "The record is not an object."},
  };
  for (const auto& [from, to, message] : cases) EXPECT_EQ(errorOf(changed(from, to)), message);
  EXPECT_EQ(decodeText<Inner>(R"({"count":2e0})").count, 2);
}

TEST(Json, onlyOneWholeTextOfModerateDepthIsRead) {
  const auto nested = [](int depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_TRUE(tryParseJson(nested(64)));
  const std::string huge(10'000'000, '[');
  for (const std::string& bad : {""s, "{} {}"s, "[1,]"s, "{'a':1}"s, "\xEF\xBB\xBF{}"s, "\"\xC3\""s,
                                 "\"\n\""s, "nul"s, "\"a\0"s, "01"s, nested(65), huge}) {
    EXPECT_FALSE(tryParseJson(bad)) << bad.substr(0, 20);
    EXPECT_THROW(parseJson(bad), DecodeError);
  }
}

TEST(Json, numbersComeBackToTheLastBit) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 10'000; ++i) {
    const double number = std::ldexp(double(random() >> 11), int(random() % 200) - 120);
    const auto text = jsonText(json::value(number));
    ASSERT_EQ(numberMember(json::object{{"n", parseJson(text)}}, "n"), number) << text;
  }
}

TEST(Json, halfASurrogatePairCostsOneCharacterAndNotTheText) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {R"("cut \ud83d")", "cut \uFFFD"},
      {R"("\uDE00 \ud83d\ud83d\ude00")", "\uFFFD \uFFFD\U0001F600"},
      {R"("\ud83dA\\ud83d\"\u0041\ud83d\u0042")", "\uFFFDA\\ud83d\"A\uFFFDB"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(decodeText<std::string>(text), expected) << text;
  EXPECT_FALSE(tryParseJson(R"("\ud83)"));
  EXPECT_FALSE(tryParseJson(R"("\ud83g")"));
}

TEST(Json, whatIsWrittenCanAlwaysBeReadAgain) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const json::value odd = {{"path\xFF", encode(std::filesystem::path("/\xE9t\xE9"))},
                           {"numbers", {std::nan(""), infinity, {{"x", -infinity}}, parseJson("1e400")}},
                           {"date", encode(Date(Seconds(infinity)))}};
  const auto read = parseJson(jsonText(odd));
  EXPECT_EQ(read.at("path\uFFFD"), "/\uFFFDt\uFFFD");
  const double largest = std::numeric_limits<double>::max();
  EXPECT_EQ(read.at("numbers"), (json::value{0.0, largest, {{"x", -largest}}, largest}));
}

}  // namespace
}  // namespace vale
