// Hears what a module's entry point prints: an entry point tells its failure on standard output
// only.
#pragma once

#include <map>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <thread>

namespace tavro {

/// Stands between a stream and where it wrote to; everything passes. Thread-safe but for its own
/// construction and destruction, which happen while nobody else writes.
class OutputTap : private std::streambuf {
 public:
  explicit OutputTap(std::ostream& stream);
  ~OutputTap() override;  // the stream writes where it wrote before
  OutputTap(const OutputTap&) = delete;
  OutputTap& operator=(const OutputTap&) = delete;

  /// Keeps a copy of what its thread writes to the stream while it lives. One per thread.
  class [[nodiscard]] Recording {
   public:
    explicit Recording(OutputTap& tap);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    std::string text() const;

   private:
    OutputTap& fTap;
  };

 private:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

  std::ostream& fStream;
  std::streambuf* const fBehind;
  mutable std::mutex fMutex;
  std::map<std::thread::id, std::string> fRecordings;
};

}  // namespace tavro
