// Call journal of the simulated ISP: one line per driver call, numbered so that a tuning
// server can ask for the lines it has not seen yet.
#ifndef T_DRIVER_JOURNAL_H
#define T_DRIVER_JOURNAL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tdriver {

// Not thread-safe on its own: the driver's lock guards it. Functions that grow a string
// may throw std::bad_alloc and then leave the journal as it was.
class Journal {
 public:
  // Appends "<function>(<argument>)\n"; no argument gives "<function>()".
  void append(std::string_view function, std::optional<uint32_t> argument);

  // Copies the journal into a text that later appends leave alone; it stays valid until
  // the next snapshot or clear.
  const char *snapshot();

  // Forgets every line. Sequence numbers go on from where they were.
  void clear() noexcept;

  // The lines numbered since and later that are still in the journal, and the number the
  // next line will get.
  void since(uint64_t since, std::string *lines, uint64_t *next) const;

  // since() into the snapshot text (valid until the next snapshot or clear).
  const char *sinceSnapshot(uint64_t since, uint64_t *next);

  uint64_t nextSequence() const noexcept { return firstSequence_ + lineStarts_.size(); }

 private:
  std::string text_;
  std::vector<size_t> lineStarts_;  // offset in text_ of every line
  uint64_t firstSequence_ = 0;      // number of the first line in text_
  std::string snapshot_;
};

}  // namespace tdriver

#endif  // T_DRIVER_JOURNAL_H
