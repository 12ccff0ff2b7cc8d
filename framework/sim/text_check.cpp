#include "framework/sim/text_check.h"

#include <cstdint>
#include <string>
#include <vector>

#include "framework/sim/characters.h"
#include "framework/sim/model_content.h"

namespace Sim::detail {
namespace {

constexpr auto kEnd = std::string_view::npos;
constexpr std::string_view kSpace = " \t\r\n";

/// Goes through the text tag by tag.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : fText(text) {}

  void run() {
    if (fText.starts_with("\xEF\xBB\xBF")) fAt = 3;
    while (xSkipToTag()) {
      if (++fNodes > 2 * kMaxNodes) xFail("more than " + std::to_string(kMaxNodes) + " elements");
      if (xStartsWith("<!--")) {
        xSkipPast("-->", "a comment");
      } else if (xStartsWith("<!")) {
        xFail(
            "DOCTYPE, CDATA and their like are not allowed; a model is made of elements, "
            "attributes and comments");
      } else if (xStartsWith("<?")) {
        xSkipPast("?>", "a declaration");
      } else if (xStartsWith("</")) {
        xClose();
      } else {
        xOpen();
      }
    }
    if (!fOpen.empty())
      xFailTruncated("inside <" + std::string(fOpen.back().name) + "> of line " +
                     std::to_string(fOpen.back().line));
    if (!fHasRoot) xFail("not a model: there is no element; a model begins with <robot>");
  }

 private:
  struct Tag {
    std::string_view name;
    int line;
  };

  [[noreturn]] void xFail(const std::string& problem) const { throw ModelError(fLine, problem); }
  [[noreturn]] void xFailTruncated(const std::string& where) const {
    xFail("truncated: the text ends " + where);
  }
  bool xStartsWith(std::string_view start) const { return fText.substr(fAt).starts_with(start); }
  bool xIsAtEnd() const { return fAt >= fText.size(); }

  void xStep() {
    if (fText[fAt] == '\n') ++fLine;
    ++fAt;
  }

  /// To the next '<'; false at the end. Between tags stands nothing but white space.
  bool xSkipToTag() {
    for (; !xIsAtEnd() && fText[fAt] != '<'; xStep()) {
      if (kSpace.find(fText[fAt]) != kEnd) continue;
      const auto text = fText.substr(fAt, fText.substr(fAt, 100).find_first_of("<\n"));
      if (fOpen.empty() && !fHasRoot) xFail("not XML: begins with " + quoted(text));
      xFail("text outside of tags: " + quoted(text) + "; everything is said by attributes");
    }
    return !xIsAtEnd();
  }

  void xSkipPast(std::string_view end, const std::string& what) {
    const auto found = fText.find(end, fAt + 2);
    if (found == kEnd) xFailTruncated("inside " + what);
    while (fAt < found + end.size()) xStep();
  }

  std::string_view xName() {
    const auto end = fText.find_first_of(" \t\r\n/><\"'=", fAt);
    const auto name = fText.substr(fAt, end - fAt);
    if (end == kEnd) xFailTruncated("inside a tag");
    if (name.empty()) xFail("\"<\" without the name of an element");
    fAt = end;
    return name;
  }

  void xOpen() {
    const int line = fLine;
    xStep();
    const Tag tag{xName(), line};
    if (fOpen.empty() && fHasRoot) {
      xFail("a second element, <" + std::string(tag.name.substr(0, 60)) +
            ">, after the end of the first");
    }
    fHasRoot = true;
    xSkipAttributes(tag);
    const bool isClosed = fText[fAt - 1] == '/';
    xStep();
    if (static_cast<int>(fOpen.size()) == Model::kMaxDepth) {
      xFail("elements are nested deeper than " + std::to_string(Model::kMaxDepth));
    }
    if (!isClosed) fOpen.push_back(tag);
  }

  /// To the '>' that ends the tag.
  void xSkipAttributes(const Tag& tag) {
    int attributes = 0;
    for (; !xIsAtEnd() && fText[fAt] != '>'; xStep()) {
      if (fText[fAt] == '<')
        xFail("the tag <" + std::string(tag.name.substr(0, 60)) + " is not ended by \">\"");
      if (fText[fAt] != '"' && fText[fAt] != '\'') continue;
      if (++attributes > kMaxAttributes) {
        xFail("an element has more than " + std::to_string(kMaxAttributes) + " attributes");
      }
      xSkipValue(fText[fAt]);
    }
    if (xIsAtEnd()) xFailTruncated("inside a tag");
  }

  /// To the quote that ends the value.
  void xSkipValue(char quote) {
    for (xStep(); !xIsAtEnd() && fText[fAt] != quote; xStep()) {
      if (fText[fAt] == '<') xFail("\"<\" inside a value; write &lt; or end the value by a quote");
      if (fText[fAt] == '&' && !isReference(fText.substr(fAt))) {
        xFail("\"&\" inside a value; write &amp; (also &lt; &gt; &quot; &apos; &#233; are known)");
      }
    }
    if (xIsAtEnd()) xFailTruncated("inside a value");
  }

  void xClose() {
    fAt += 2;
    const auto name = xName();
    while (!xIsAtEnd() && kSpace.find(fText[fAt]) != kEnd) xStep();
    if (xIsAtEnd()) xFailTruncated("inside a tag");
    const std::string shown = "</" + std::string(name.substr(0, 60)) + ">";
    if (fText[fAt] != '>') xFail("the tag " + shown + " holds more than a name");
    if (fOpen.empty()) xFail(shown + " closes nothing");
    const Tag open = fOpen.back();
    if (open.name != name) {
      xFail(shown + " where </" + std::string(open.name.substr(0, 60)) +
            "> should close the element of line " + std::to_string(open.line));
    }
    fOpen.pop_back();
    xStep();
  }

  std::string_view fText;
  std::size_t fAt = 0;
  int fLine = 1;
  int fNodes = 0;
  bool fHasRoot = false;
  std::vector<Tag> fOpen;
};

}  // namespace

void checkText(std::string_view xml) {
  if (xml.size() > Model::kMaxBytes) {
    throw ModelError(0, "larger than " + std::to_string(Model::kMaxBytes >> 20) + " MB");
  }
  checkCharacters(xml);
  Scanner(xml).run();
}

}  // namespace Sim::detail
