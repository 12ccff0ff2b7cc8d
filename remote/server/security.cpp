#include "remote/server/security.h"

namespace remote {
namespace {

constexpr std::string_view kScheme = "Bearer ";

bool startsWithScheme(std::string_view text) {
  if (text.size() < kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {  // the scheme's case does not count
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    const char wanted = i == 0 ? 'b' : kScheme[i];
    if (c != wanted) return false;
  }
  return true;
}

}  // namespace

Verdict judge(const Exposure& exposure) {
  Verdict verdict;
  if (exposure.isLocal) return verdict;
  verdict.needsToken = exposure.hasTokens;
  if (exposure.hasTls && exposure.hasTokens) return verdict;
  if (!exposure.isInsecureAllowed) {
    const char* const missing = exposure.hasTls      ? "a token file (--tokens)"
                                : exposure.hasTokens ? "TLS (--tls-cert and --tls-key)"
                                                     : "TLS (--tls-cert and --tls-key) and a token "
                                                       "file (--tokens)";
    verdict.refusal = std::string("other machines reach this address, so it needs ") + missing +
                      "; --insecure does without";
    return verdict;
  }
  verdict.warning = "INSECURE: other machines reach this address";
  if (!exposure.hasTokens) verdict.warning += ", and everybody there may drive the robot";
  if (!exposure.hasTls) verdict.warning += ", and what is sent can be read and changed on its way";
  return verdict;
}

Entry letIn(const door::Tokens* tokens, bool needsToken,
            std::optional<std::string_view> authorization) {
  Entry entry;
  entry.holder.role = door::Role::kOperator;
  if (tokens == nullptr) return entry;
  if (!authorization) {
    if (needsToken) entry.refusal = "This robot wants a token, and none was sent";
    return entry;
  }
  if (!startsWithScheme(*authorization)) {
    entry.refusal = "The metadata 'authorization' must be 'Bearer TOKEN'";
    return entry;
  }
  const auto holder = tokens->find(authorization->substr(kScheme.size()));
  if (holder) {
    entry.holder = *holder;
  } else {
    entry.refusal = "This robot does not know that token";
  }
  return entry;
}

}  // namespace remote
