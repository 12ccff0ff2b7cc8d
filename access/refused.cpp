#include "access/refused.h"

#include "access/client.h"

namespace door {

void refuseMany(const std::string& what, bool ofThisClient, std::size_t limit) {
  throw Refused(Refused::Why::kTooMany, (ofThisClient ? "This client's " : "The ") + what +
                                            " have reached the limit of " + std::to_string(limit));
}

void requireOperator(const Client& client, const char* what) {
  if (client.role == Role::kOperator) return;
  throw Refused(Refused::Why::kNotAllowed,
                std::string(what) + " needs the role operator; yours is " + nameOf(client.role));
}

}  // namespace door
