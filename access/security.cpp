#include "access/security.h"

namespace door {

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

Entry letIn(const Tokens* tokens, bool needsToken, std::optional<std::string_view> token) {
  Entry entry;
  entry.holder.role = Role::kOperator;
  if (tokens == nullptr) return entry;
  if (!token) {
    if (needsToken) entry.refusal = "This robot wants a token, and none was sent";
  } else if (auto holder = tokens->find(*token)) {
    entry.holder = *std::move(holder);
  } else {
    entry.refusal = "This robot does not know that token";
  }
  return entry;
}

}  // namespace door
