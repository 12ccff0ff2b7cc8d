#include "framework/xo/type.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using HB::HBValue;
using xo::Match;
using xo::detail::Conversion;

TEST(Type, SpeaksTheInterfaceLanguage) {
  EXPECT_EQ(Conversion<void>::type().text(), "void");
  EXPECT_EQ(Conversion<bool>::type().text(), "bool");
  EXPECT_EQ(Conversion<HBValue>::type().text(), "value");
  EXPECT_EQ(Conversion<std::vector<std::vector<float>>>::type().text(), "list<list<float>>");
  EXPECT_EQ(Conversion<xo::Future<void>>::type().text(), "future<void>");
  EXPECT_EQ(Conversion<void*>::type().text(), "local");
}

TEST(Conversion, WidensIntToFloatAndWholeFloatToInt) {
  EXPECT_EQ(Conversion<float>::match(HBValue(1)), Match::kWidened);
  EXPECT_EQ(Conversion<float>::from(HBValue(1)), 1.0f);
  EXPECT_EQ(Conversion<int>::match(HBValue(255.0f)), Match::kWidened);
  EXPECT_EQ(Conversion<int>::from(HBValue(255.0f)), 255);
}

TEST(Conversion, RefusesAFloatThatIsNoInt) {
  for (const float number :
       {0.5f, -0.5f, 2147483648.0f, -2147484000.0f, std::numeric_limits<float>::infinity(),
        std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(Conversion<int>::match(HBValue(number)), Match::kNone) << number;
  }
  EXPECT_EQ(Conversion<int>::match(HBValue(-2147483648.0f)), Match::kWidened);
}

TEST(Conversion, DoesNotTurnOneKindIntoAnother) {
  EXPECT_EQ(Conversion<float>::match(HBValue(true)), Match::kNone);
  EXPECT_EQ(Conversion<float>::match(HBValue("1")), Match::kNone);
  EXPECT_EQ(Conversion<int>::match(HBValue(true)), Match::kNone);
  EXPECT_EQ(Conversion<bool>::match(HBValue(1)), Match::kNone);
  EXPECT_EQ(Conversion<std::string>::match(HBValue(1)), Match::kNone);
  EXPECT_EQ(Conversion<int>::match(HBValue()), Match::kNone);
}

TEST(Conversion, AListFitsAsItsWorstElement) {
  using Floats = Conversion<std::vector<float>>;
  EXPECT_EQ(Floats::match(HBValue::list({0.5f, 1.0f})), Match::kExact);
  EXPECT_EQ(Floats::match(HBValue::list({0.5f, 1})), Match::kWidened);
  EXPECT_EQ(Floats::match(HBValue::list({0.5f, "a"})), Match::kNone);
  EXPECT_EQ(Floats::match(HBValue::list({})), Match::kExact);
  EXPECT_EQ(Floats::match(HBValue(1.0f)), Match::kNone);
  EXPECT_EQ(Floats::from(HBValue::list({0.5f, 1})), (std::vector<float>{0.5f, 1.0f}));
}

TEST(Conversion, GoesThereAndBack) {
  const std::vector<std::vector<float>> nested{{1.0f}, {}, {0.25f, 0.5f}};
  using Nested = Conversion<std::vector<std::vector<float>>>;
  EXPECT_EQ(Nested::from(Nested::to(nested)), nested);
  const std::vector<std::string> texts{"", "FaceLeds"};
  using Texts = Conversion<std::vector<std::string>>;
  EXPECT_EQ(Texts::from(Texts::to(texts)), texts);
}

TEST(TypesId, IsEqualExactlyForEqualLists) {
  EXPECT_EQ((xo::detail::typesId<std::string, float>()),
            (xo::detail::typesId<std::string, float>()));
  EXPECT_NE((xo::detail::typesId<std::string, float>()),
            (xo::detail::typesId<float, std::string>()));
  EXPECT_NE((xo::detail::typesId<int>()), (xo::detail::typesId<unsigned>()));
  EXPECT_NE((xo::detail::typesId<>()), (xo::detail::typesId<void>()));
}

using xo::Type;

const Type kFloats{Type::Kind::kList, {{Type::Kind::kFloat, {}}}};

TEST(MatchType, JudgesAsTheConversionOfTheCppTypeDoes) {
  const HBValue values[] = {HBValue(),
                            true,
                            1,
                            255.0f,
                            0.5f,
                            std::numeric_limits<float>::quiet_NaN(),
                            "text",
                            HBValue(HB::Binary{{1}}),
                            HBValue(HBValue::List()),
                            HBValue::list({1, 0.5f}),
                            HBValue::list({1.0f, 2.0f}),
                            HBValue::list({1, "a"}),
                            HBValue::list({HBValue::list({1}), HBValue::list({0.5f})})};
  for (const auto& value : values) {
    const auto expectSame = [&value]<class T>(T*) {
      EXPECT_EQ(xo::matchType(Conversion<T>::type(), value), Conversion<T>::match(value))
          << Conversion<T>::type().text() << " of " << value.toText();
      if (Conversion<T>::match(value) == Match::kNone) return;
      EXPECT_EQ(xo::convertTo(Conversion<T>::type(), value).toText(),
                Conversion<T>::to(Conversion<T>::from(value)).toText());
    };
    expectSame(static_cast<bool*>(nullptr));
    expectSame(static_cast<int*>(nullptr));
    expectSame(static_cast<float*>(nullptr));
    expectSame(static_cast<std::string*>(nullptr));
    expectSame(static_cast<HBValue*>(nullptr));
    expectSame(static_cast<std::vector<int>*>(nullptr));
    expectSame(static_cast<std::vector<float>*>(nullptr));
    expectSame(static_cast<std::vector<std::vector<float>>*>(nullptr));
    expectSame(static_cast<std::vector<HBValue>*>(nullptr));
  }
}

TEST(MatchType, FitsNothingToAFutureOrALocalTypeAndOnlyNothingToVoid) {
  EXPECT_EQ(xo::matchType({Type::Kind::kVoid, {}}, HBValue()), Match::kExact);
  EXPECT_EQ(xo::matchType({Type::Kind::kVoid, {}}, 1), Match::kNone);
  EXPECT_EQ(xo::matchType({Type::Kind::kLocal, {}}, 1), Match::kNone);
  EXPECT_EQ(xo::matchType({Type::Kind::kFuture, {kFloats}}, HBValue::list({1.0f})), Match::kNone);
}

TEST(ConvertTo, WidensElementsOfListsToo) {
  const Type lists{Type::Kind::kList, {kFloats}};
  const auto converted = xo::convertTo(lists, HBValue::list({HBValue::list({1, 0.5f})}));
  EXPECT_EQ(converted, HBValue::list({HBValue::list({1.0f, 0.5f})}));
}

}  // namespace
