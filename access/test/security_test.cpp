// Who may come in at which address, and as what.
#include "access/security.h"

#include <gmock/gmock.h>

#include <array>

#include "access/test/protections.h"

namespace door {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(Judge, EveryAddressIsEitherOfThisMachineOrProtectedOrLoudlyNot) {
  struct Row {
    Exposure exposure;    // local, TLS, tokens, --insecure
    const char* missing;  // in the refusal; "" when it may listen
    bool isLoud;
    bool needsToken;
  };
  constexpr std::array<Row, 16> kTable{{
      {{true, false, false, false}, "", false, false},
      {{true, false, false, true}, "", false, false},
      {{true, false, true, false}, "", false, false},
      {{true, false, true, true}, "", false, false},
      {{true, true, false, false}, "", false, false},
      {{true, true, false, true}, "", false, false},
      {{true, true, true, false}, "", false, false},
      {{true, true, true, true}, "", false, false},
      {{false, false, false, false}, "--tokens", false, false},
      {{false, false, false, true}, "", true, false},
      {{false, false, true, false}, "--tls-cert", false, true},
      {{false, false, true, true}, "", true, true},
      {{false, true, false, false}, "--tokens", false, false},
      {{false, true, false, true}, "", true, false},
      {{false, true, true, false}, "", false, true},
      {{false, true, true, true}, "", false, true},
  }};
  for (std::size_t i = 0; i < kTable.size(); ++i) {
    const Row& row = kTable[i];
    const Verdict verdict = judge(row.exposure);
    EXPECT_EQ(verdict.refusal.empty(), *row.missing == '\0') << i << ' ' << verdict.refusal;
    EXPECT_THAT(verdict.refusal, HasSubstr(row.missing)) << i;
    EXPECT_EQ(!verdict.warning.empty(), row.isLoud) << i;
    if (verdict.refusal.empty()) {
      EXPECT_EQ(verdict.needsToken, row.needsToken) << i;
    }
  }
}

TEST(LetIn, ATokenThatIsSentMustBeRightAndMayBeNeeded) {
  const auto tokens = Tokens::read(textOfTokens(), "tokens");
  for (const bool needsToken : {false, true}) {
    EXPECT_EQ(letIn(&tokens, needsToken, std::nullopt).refusal.empty(), !needsToken);
    EXPECT_THAT(letIn(&tokens, needsToken, kWrongToken).refusal,
                AllOf(HasSubstr("does not know"), Not(HasSubstr(kWrongToken))));
    EXPECT_THAT(letIn(&tokens, needsToken, "").refusal, HasSubstr("does not know"));
    const Entry viewer = letIn(&tokens, needsToken, kViewerToken);
    EXPECT_EQ(viewer.refusal, "");
    EXPECT_EQ(viewer.holder.role, Role::kViewer);
    EXPECT_EQ(viewer.holder.name, "display");
    EXPECT_EQ(letIn(&tokens, needsToken, kOperatorToken).holder.role, Role::kOperator);
  }
  EXPECT_EQ(letIn(nullptr, false, kWrongToken).holder.role, Role::kOperator);
}

}  // namespace
}  // namespace door
