#include "tavro/output_tap.h"

namespace tavro {

OutputTap::OutputTap(std::ostream& stream) : fStream(stream), fBehind(stream.rdbuf(this)) {}

OutputTap::~OutputTap() { fStream.rdbuf(fBehind); }

OutputTap::Recording::Recording(OutputTap& tap) : fTap(tap) {
  const std::lock_guard lock(fTap.fMutex);
  fTap.fRecordings[std::this_thread::get_id()].clear();
}

OutputTap::Recording::~Recording() {
  const std::lock_guard lock(fTap.fMutex);
  fTap.fRecordings.erase(std::this_thread::get_id());
}

std::string OutputTap::Recording::text() const {
  const std::lock_guard lock(fTap.fMutex);
  return fTap.fRecordings.at(std::this_thread::get_id());
}

OutputTap::int_type OutputTap::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof()))
    return traits_type::not_eof(character);
  const char one = traits_type::to_char_type(character);
  return xsputn(&one, 1) == 1 ? character : traits_type::eof();
}

std::streamsize OutputTap::xsputn(const char* text, std::streamsize size) {
  const std::lock_guard lock(fMutex);
  if (const auto found = fRecordings.find(std::this_thread::get_id()); found != fRecordings.end()) {
    found->second.append(text, static_cast<std::size_t>(size));
  }
  return fBehind->sputn(text, size);
}

int OutputTap::sync() {
  const std::lock_guard lock(fMutex);
  return fBehind->pubsync();
}

}  // namespace tavro
