#include "web/server/mailbox.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <utility>

namespace web {

void Mailbox::post(std::function<void()> work) {
  std::scoped_lock lock(fMutex);
  if (fLoop != nullptr) boost::asio::post(*fLoop, std::move(work));
}

void Mailbox::close() {
  std::scoped_lock lock(fMutex);
  fLoop = nullptr;
}

}  // namespace web
