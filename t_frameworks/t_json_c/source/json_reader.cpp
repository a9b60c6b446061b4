// The reader parses a NUL-terminated, padded copy of the text (see TJsonReader::copy), in
// which strings are decoded in place and RapidJSON's 16-byte scans of strings and white
// space are safe.
#if defined(__SSE2__) && !defined(RAPIDJSON_SSE2)
#define RAPIDJSON_SSE2
#endif

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "json_node.h"
#include "json_rapidjson.h"
#include "json_utf8.h"
#include "t_common.h"
#include "t_json.h"

using tjson::isValidUtf8;
using tjson::Node;

namespace {

#define TJSON_TEXT_(x) #x
#define TJSON_TEXT(x) TJSON_TEXT_(x)
constexpr const char *kDepthText = "Nesting deeper than " TJSON_TEXT(TJSON_MAX_DEPTH) " levels";
#undef TJSON_TEXT
#undef TJSON_TEXT_
constexpr const char *kNoErrorText = "No error";

// Iterative: a request cannot exhaust the stack of the board however deep it nests.
// Integers are converted by RapidJSON as it scans them; other numbers go through
// NumberConverter (see NumberEvents). Runs of plain numbers in arrays are read past
// RapidJSON (see NumberRun).
// In situ: the text is the reader's own copy, so strings are decoded where they stand
// instead of being copied out first.
constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseValidateEncodingFlag |
                                 rapidjson::kParseInsituFlag;

// A text that is valid UTF-8 throughout has nothing for the reader's per-character
// validation to find: it is parsed without it, at a fraction of the cost for long strings
// (a settings upload is one 700 KB string). Any other text takes the validating parse,
// which reports the place of the bad sequence.
constexpr unsigned kParseFlagsValidText = kParseFlags & ~rapidjson::kParseValidateEncodingFlag;

using Reader =
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, tjson::ThrowingAllocator>;

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The offset of the first escape of a low surrogate (backslash, u, DC00 to DFFF) that does not
// follow the escape of a high surrogate, or size when there is none. RapidJSON refuses a lone high
// surrogate but decodes a lone low one into bytes that are not UTF-8, which could then be neither
// stored nor printed as they came. Backslashes stand only in strings of a valid text, each starting
// an escape.
size_t loneLowSurrogate(const char *text, size_t size) {
  bool afterHigh = false;
  for (const char *at = static_cast<const char *>(memchr(text, '\\', size)); at != nullptr;) {
    const size_t offset = static_cast<size_t>(at - text);
    if (offset + 1 >= size) break;
    size_t step = 2;
    bool high = false;
    if (at[1] == 'u' && offset + 6 <= size) {
      int unit = 0;
      for (int i = 2; i < 6 && unit >= 0; ++i) {
        const int digit = hexValue(at[i]);
        unit = digit < 0 ? -1 : unit * 16 + digit;
      }
      if (unit >= 0xDC00 && unit <= 0xDFFF && !afterHigh) return offset;
      high = unit >= 0xD800 && unit <= 0xDBFF;
      step = 6;
    }
    // A low surrogate pairs only with the escape right before it.
    afterHigh = high;
    const char *next = at + step;
    at =
        next < text + size
            ? static_cast<const char *>(memchr(next, '\\', size - static_cast<size_t>(next - text)))
            : nullptr;
    if (afterHigh && at != next) afterHigh = false;
  }
  return size;
}

// Counts nesting for both handlers; refusing a container stops the parse.
class DepthLimit {
 public:
  bool enter() {
    if (depth_ == TJSON_MAX_DEPTH) {
      exceeded_ = true;
      return false;
    }
    ++depth_;
    return true;
  }
  void leave() { --depth_; }
  bool exceeded() const { return exceeded_; }
  void reset() {
    depth_ = 0;
    exceeded_ = false;
  }

 private:
  uint32_t depth_ = 0;
  bool exceeded_ = false;
};

// Converts the text of a number that RapidJSON has scanned and validated. RapidJSON's own
// conversion goes wrong for a zero with an exponent ("0e297" gave -8.6e-283, through a
// count of leading zeros of 0); from_chars rounds every text correctly. Integers keep
// their kind: int64, else uint64, else they become doubles; a number beyond the double
// range is refused as too big, one too small for a double becomes zero.
class NumberConverter {
 public:
  enum class Kind { Integer, Unsigned, Double };
  struct Number {
    Kind kind = Kind::Double;
    int64_t integer = 0;
    uint64_t unsignedInteger = 0;
    double real = 0.0;
  };

  // False when the number is too big for a double.
  bool convert(const char *text, size_t length, Number *number) {
    const char *end = text + length;
    const bool integral =
        std::none_of(text, end, [](char c) { return c == '.' || c == 'e' || c == 'E'; });
    if (integral && std::from_chars(text, end, number->integer).ec == std::errc()) {
      number->kind = Kind::Integer;
      return true;
    }
    if (integral && *text != '-' &&
        std::from_chars(text, end, number->unsignedInteger).ec == std::errc()) {
      number->kind = Kind::Unsigned;
      return true;
    }
    number->kind = Kind::Double;
    if (exactlyRepresentable(text, end, &number->real)) return true;
    if (std::from_chars(text, end, number->real).ec == std::errc::result_out_of_range) {
      if (leadingPower(text, end) > 0) {
        tooBig = true;
        return false;
      }
      number->real = *text == '-' ? -0.0 : 0.0;
    }
    return true;
  }

  bool tooBig = false;

 private:
  // The common case without from_chars: a text whose digits make an integer of at most
  // 2^53 and whose power of ten is at most 22 in magnitude. Both are exact doubles, so one
  // multiplication or division rounds the value correctly. False: not such a text.
  static bool exactlyRepresentable(const char *p, const char *end, double *real) {
    static_assert(FLT_EVAL_METHOD == 0, "doubles are computed in double precision");
    static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                         1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    constexpr uint64_t kLargest = uint64_t{1} << 53;
    const bool negative = p < end && *p == '-';
    if (negative) ++p;
    uint64_t digits = 0;
    int64_t power = 0;
    bool fraction = false;
    for (; p < end; ++p) {
      if (*p == '.') {
        fraction = true;
        continue;
      }
      if (*p < '0' || *p > '9') break;
      digits = digits * 10 + static_cast<uint64_t>(*p - '0');
      if (digits > kLargest) return false;
      if (fraction) --power;
    }
    if (p < end) {  // the exponent: e or E, a sign, digits
      ++p;
      const bool below = p < end && *p == '-';
      if (p < end && (*p == '-' || *p == '+')) ++p;
      int64_t exponent = 0;
      for (; p < end; ++p) {
        if (*p < '0' || *p > '9') return false;
        exponent = exponent * 10 + (*p - '0');
        if (exponent > 1000) return false;
      }
      power += below ? -exponent : exponent;
    }
    if (power < -22 || power > 22) return false;
    double value = static_cast<double>(digits);
    value = power < 0 ? value / kPowers[-power] : value * kPowers[power];
    *real = negative ? -value : value;
    return true;
  }

  // The power of ten of the first significant digit: 2 for "123.4", -3 for "0.00123e0".
  static int64_t leadingPower(const char *p, const char *end) {
    if (*p == '-') ++p;
    int64_t integerDigits = 0;
    int64_t fractionZeros = 0;
    bool significant = false;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
      significant = significant || *p != '0';
      if (significant) ++integerDigits;
    }
    if (p < end && *p == '.') {
      for (++p; p < end && *p >= '0' && *p <= '9'; ++p) {
        if (!significant && *p == '0') ++fractionZeros;
        significant = significant || *p != '0';
      }
    }
    int64_t exponent = 0;
    if (p < end && (*p == 'e' || *p == 'E')) {
      ++p;
      const bool negative = p < end && *p == '-';
      if (p < end && (*p == '+' || *p == '-')) ++p;
      // An exponent beyond int64 is out of range in its own direction.
      if (std::from_chars(p, end, exponent).ec != std::errc()) exponent = INT64_MAX / 2;
      if (negative) exponent = -exponent;
    }
    return (integerDigits > 0 ? integerDigits - 1 : -fractionZeros - 1) + exponent;
  }
};

// The number events of the three handlers below. RapidJSON hands over integers that fit
// 64 bits exactly as it scanned them (tables of integers are most of a request, and this
// is their fast path). Anything else arrives as a double of RapidJSON's own, which is not
// always the nearest one: its text is converted again by NumberConverter. The stream then
// stands at the number's first character (RapidJSON scans a copy of the stream and
// updates it afterwards) or just past its last. From the first, the end is found by the
// number grammar; from the last, the start by stepping back, since what precedes a number
// ('[', ',', ':', white space, the start) cannot be part of one. Derived provides
// integer(), unsignedInteger() and real().
template <typename Derived>
class NumberEvents : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Derived> {
 public:
  bool Int(int value) { return self().integer(value); }
  bool Uint(unsigned value) { return self().integer(value); }
  bool Int64(int64_t value) { return self().integer(value); }
  bool Uint64(uint64_t value) {
    return value <= uint64_t{INT64_MAX} ? self().integer(static_cast<int64_t>(value))
                                        : self().unsignedInteger(value);
  }
  bool Double(double) {
    const char *begin = stream->src_;
    const char *end = begin;
    if (isNumberCharacter(*begin)) {
      end = numberEnd(begin);
    } else {
      while (begin != stream->head_ && isNumberCharacter(begin[-1])) --begin;
    }
    NumberConverter::Number number;
    if (!numbers.convert(begin, static_cast<size_t>(end - begin), &number)) return false;
    switch (number.kind) {
      case NumberConverter::Kind::Integer:
        return self().integer(number.integer);
      case NumberConverter::Kind::Unsigned:
        return self().unsignedInteger(number.unsignedInteger);
      case NumberConverter::Kind::Double:
        break;
    }
    return self().real(number.real);
  }

  const rapidjson::InsituStringStream *stream = nullptr;  // set for each parse
  NumberConverter numbers;

 private:
  static bool isNumberCharacter(char c) {
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
  }
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }
  // Where the number RapidJSON has just read from p ends: its grammar followed exactly, as
  // a broken text may go on with characters a number can hold ("1.5+", "2-3").
  static const char *numberEnd(const char *p) {
    if (*p == '-') ++p;
    while (isDigit(*p)) ++p;
    if (*p == '.') {
      for (++p; isDigit(*p);) ++p;
    }
    if (*p == 'e' || *p == 'E') {
      ++p;
      if (*p == '+' || *p == '-') ++p;
      while (isDigit(*p)) ++p;
    }
    return p;
  }
  Derived &self() { return static_cast<Derived &>(*this); }
};

// Most of a long document is arrays of numbers. Right after an array opens, the stream
// stands at its '[' (RapidJSON steps over it when the handler returns); every element there
// that is a number of a common form followed by a comma and the start of another number, or
// by the closing ']', is read and handed over at once, without RapidJSON's state machine for
// each token. The stream is left on the last comma (or the last number's last character), so
// that RapidJSON reads on from the next element (or the ']') as it would have; anything else,
// every error included, is still RapidJSON's to read and report, at the same offsets. The
// walker and the tree builder both read their arrays so.
class NumberRun {
 public:
  // Integers go to onInteger(int64_t), doubles to onReal(double), in the text's order.
  template <typename OnInteger, typename OnReal>
  static void read(rapidjson::InsituStringStream *source, OnInteger &&onInteger, OnReal &&onReal) {
    const char *p = source->src_ + 1;
    while (isSpace(*p)) ++p;
    for (;;) {
      int64_t integer = 0;
      double real = 0.0;
      bool isReal = false;
      const char *end = simpleNumber(p, &integer, &real, &isReal);
      if (end == nullptr) return;
      const char *q = end;
      if (*q != ',') {
        while (isSpace(*q)) ++q;
        if (*q != ',' && *q != ']') return;
      }
      const bool isLast = *q == ']';
      const char *comma = q++;
      if (!isLast && static_cast<unsigned>(*q - '0') > 9u && *q != '-') {
        while (isSpace(*q)) ++q;
        if (!isDigit(*q) && *q != '-') return;
      }
      if (isReal) {
        onReal(real);
      } else {
        onInteger(integer);
      }
      if (isLast) {
        // On the number's last character: RapidJSON steps to what follows and closes the
        // array there, as it would have after the element.
        source->src_ = const_cast<char *>(end - 1);
        return;
      }
      source->src_ = const_cast<char *>(comma);
      p = q;
    }
  }

 private:
  static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  // Reads a number without an exponent, -?(0|[1-9][0-9]*)(.[0-9]+)?, of at most 32
  // characters, as the events would have it from RapidJSON and NumberConverter: an integer
  // of at most 18 digits as it is; a fraction with at most 15 digits as the digits divided
  // by a power of ten (both exact, so the quotient is the nearest double), any longer one
  // through from_chars. Where it ends; nullptr when the text at p is not of that form.
  static const char *simpleNumber(const char *p, int64_t *integer, double *real, bool *isReal) {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const char *start = p;
    const bool negative = *p == '-';
    if (negative) ++p;
    const char *first = p;
    uint64_t digits = static_cast<uint64_t>(*p) - '0';
    if (digits > 9) return nullptr;
    ++p;
    if (digits == 0) {
      if (isDigit(*p)) return nullptr;
    } else {
      for (uint64_t digit; (digit = static_cast<uint64_t>(*p) - '0') <= 9; ++p) {
        digits = digits * 10 + digit;
      }
      if (p - first > 18) return nullptr;
    }
    if (*p != '.') {
      if (*p == 'e' || *p == 'E') return nullptr;
      *isReal = false;
      *integer = negative ? -static_cast<int64_t>(digits) : static_cast<int64_t>(digits);
      return p;
    }
    const char *point = p++;
    for (uint64_t digit; (digit = static_cast<uint64_t>(*p) - '0') <= 9; ++p) {
      digits = digits * 10 + digit;
    }
    const int fraction = static_cast<int>(p - point - 1);
    if (fraction == 0 || *p == 'e' || *p == 'E' || p - start > 32) return nullptr;
    *isReal = true;
    if (p - first - 1 <= 15) {
      const double value = static_cast<double>(digits) / kPowers[fraction];
      *real = negative ? -value : value;
    } else if (std::from_chars(start, p, *real).ec != std::errc()) {
      return nullptr;
    }
    return p;
  }
};

// Validation only.
class Checker : public NumberEvents<Checker> {
 public:
  bool integer(int64_t) { return true; }
  bool unsignedInteger(uint64_t) { return true; }
  bool real(double) { return true; }
  bool StartObject() { return limit.enter(); }
  bool EndObject(rapidjson::SizeType) {
    limit.leave();
    return true;
  }
  bool StartArray() { return limit.enter(); }
  bool EndArray(rapidjson::SizeType) {
    limit.leave();
    return true;
  }

  DepthLimit limit;
};

// Builds the tree from SAX events. Finished values wait in pending_, held by value, until
// their container closes; then the container takes them all as one block of siblings with
// one array of the exact size. A member is made at its key, so that the value that follows
// only fills it in. Only the root is allocated on its own. An array's leading run of plain
// numbers is read by NumberRun straight into the packed numbers.
class TreeBuilder : public NumberEvents<TreeBuilder> {
 public:
  ~TreeBuilder() { discard(); }

  void begin() {
    discard();
    limit.reset();
  }
  Node *finish() {
    Node *root = root_;
    root_ = nullptr;
    return root;
  }
  // Frees whatever a failed parse left behind.
  void discard() noexcept {
    for (Node &node : pending_) tjson::releaseContents(&node);
    pending_.clear();
    numbers_ = 0;
    collecting_ = false;
    frames_.clear();
    tjson::destroyTree(root_);
    root_ = nullptr;
    keyed_ = kNone;
  }

  bool Null() {
    slot();
    return true;
  }
  bool Bool(bool value) {
    Node *node = slot();
    node->type = TJSON_TYPE_BOOLEAN;
    node->boolean = value ? 1 : 0;
    return true;
  }
  bool integer(int64_t value) { return number(TJSON_TYPE_INTEGER, static_cast<uint64_t>(value)); }
  bool unsignedInteger(uint64_t value) { return number(TJSON_TYPE_UNSIGNED, value); }
  bool real(double value) { return number(TJSON_TYPE_FLOAT, std::bit_cast<uint64_t>(value)); }
  bool String(const char *text, rapidjson::SizeType length, bool) {
    Node *node = slot();
    node->type = TJSON_TYPE_STRING;
    node->string.init();
    node->string.assign(text, length);
    return true;
  }
  bool Key(const char *text, rapidjson::SizeType length, bool) {
    pendingNode()->name.assign(text, length);
    keyed_ = pending_.size() - 1;
    return true;
  }
  bool StartObject() { return open(TJSON_TYPE_OBJECT); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool StartArray() {
    if (!open(TJSON_TYPE_ARRAY)) return false;
    NumberRun::read(
        const_cast<rapidjson::InsituStringStream *>(stream),
        [this](int64_t value) { number(TJSON_TYPE_INTEGER, static_cast<uint64_t>(value)); },
        [this](double value) { number(TJSON_TYPE_FLOAT, std::bit_cast<uint64_t>(value)); });
    return true;
  }
  bool EndArray(rapidjson::SizeType) { return close(); }

  DepthLimit limit;

 private:
  static constexpr size_t kNone = SIZE_MAX;  // no pending member; the root as container

  struct Frame {
    size_t container;  // index in pending_, or kNone for the root
    size_t first;      // index in pending_ of its first child
  };

  // A number: an element of an array of numbers only waits as such; any other takes a
  // node. The first case is most of a request's values: kept small, to be inlined.
  bool number(uint8_t type, uint64_t bits) {
    if (collecting_ && numbers_ != numberCapacity_) {
      bits_[numbers_] = bits;
      types_[numbers_] = type;
      ++numbers_;
      return true;
    }
    return numberElsewhere(type, bits);
  }
  [[gnu::noinline]] bool numberElsewhere(uint8_t type, uint64_t bits) {
    if (collecting_) {
      growNumbers();
      return number(type, bits);
    }
    Node *node = slot();
    node->type = type;
    node->unsignedInteger = bits;
    return true;
  }

  // The node that the next value fills in: the member made at its key, or a new element
  // (or the root), as null. Valid until the next node is made.
  Node *slot() {
    if (keyed_ != kNone) {
      Node *node = &pending_[keyed_];
      keyed_ = kNone;
      return node;
    }
    if (frames_.empty()) {
      root_ = tjson::createNode(TJSON_TYPE_NULL);
      return root_;
    }
    if (collecting_) spillNumbers();
    return pendingNode();
  }
  // Something other than a number comes into an array of numbers so far: the numbers
  // before it become nodes.
  void spillNumbers() {
    for (size_t i = 0; i < numbers_; ++i) {
      Node *node = pendingNode();
      node->type = types_[i];
      node->unsignedInteger = bits_[i];
    }
    numbers_ = 0;
    collecting_ = false;
  }
  void growNumbers() {
    const size_t capacity = numberCapacity_ < 64 ? 64 : numberCapacity_ * 2;
    std::unique_ptr<uint64_t[]> bits(new uint64_t[capacity]);
    std::unique_ptr<uint8_t[]> types(new uint8_t[capacity]);
    if (numbers_ != 0) {
      std::memcpy(bits.get(), bits_.get(), numbers_ * sizeof(uint64_t));
      std::memcpy(types.get(), types_.get(), numbers_);
    }
    bits_ = std::move(bits);
    types_ = std::move(types);
    numberCapacity_ = capacity;
  }
  Node *pendingNode() {
    Node &node = pending_.emplace_back();
    node.parent = nullptr;
    node.name.init();
    node.type = TJSON_TYPE_NULL;
    node.slot = 0;
    node.children = tjson::Children{{nullptr}, 0, 0, false, false};
    return &node;
  }
  bool open(uint8_t type) {
    if (!limit.enter()) return false;
    Node *node = slot();
    node->type = type;  // its children storage is already empty
    frames_.push_back(Frame{node == root_ ? kNone : static_cast<size_t>(node - pending_.data()),
                            pending_.size()});
    collecting_ = type == TJSON_TYPE_ARRAY;
    return true;
  }
  bool close() {
    const Frame frame = frames_.back();
    Node *container = frame.container == kNone ? root_ : &pending_[frame.container];
    if (collecting_) {
      tjson::adoptNumbers(container, bits_.get(), types_.get(), numbers_);
      numbers_ = 0;
      // The enclosing container holds this array: it was never an array of numbers only.
      collecting_ = false;
    } else {
      tjson::adoptChildren(container, pending_.data() + frame.first, pending_.size() - frame.first);
      pending_.resize(frame.first);  // moved out: nothing left to free
    }
    frames_.pop_back();
    limit.leave();
    return true;
  }

  std::vector<Node> pending_;
  // While the innermost open container is an array that has held numbers only
  // (collecting_), its elements wait here as payload and type, not as nodes, and the array
  // is kept packed when it closes. Only the innermost container can be such an array: a
  // container opening in one turns its numbers into nodes. Kept between parses.
  std::unique_ptr<uint64_t[]> bits_;
  std::unique_ptr<uint8_t[]> types_;
  size_t numbers_ = 0;
  size_t numberCapacity_ = 0;
  bool collecting_ = false;
  std::vector<Frame> frames_;
  Node *root_ = nullptr;
  size_t keyed_ = kNone;
};

// Hands every piece to the caller's events instead of building a tree; scalars arrive in
// one reused node.
class Walker : public NumberEvents<Walker> {
 public:
  ~Walker() { tjson::destroyTree(scalar_); }

  void begin(const TJsonEvents *events, const TJsonNumberEvents *numbers, void *context) {
    if (scalar_ == nullptr) scalar_ = tjson::createNode(TJSON_TYPE_NULL);
    events_ = events;
    integerEvent_ = numbers != nullptr ? numbers->integer : nullptr;
    realEvent_ = numbers != nullptr ? numbers->real : nullptr;
    integersEvent_ = numbers != nullptr ? numbers->integers : nullptr;
    context_ = context;
    limit.reset();
  }

  bool Null() { return deliver(TJSON_TYPE_NULL); }
  bool Bool(bool value) {
    tjson::resetPayload(scalar_, TJSON_TYPE_BOOLEAN);
    scalar_->boolean = value ? 1 : 0;
    return deliver();
  }
  bool integer(int64_t value) {
    if (integerEvent_ != nullptr) {
      integerEvent_(context_, value);
      return true;
    }
    tjson::resetPayload(scalar_, TJSON_TYPE_INTEGER);
    scalar_->integer = value;
    return deliver();
  }
  bool unsignedInteger(uint64_t value) {
    tjson::resetPayload(scalar_, TJSON_TYPE_UNSIGNED);
    scalar_->unsignedInteger = value;
    return deliver();
  }
  bool real(double value) {
    if (realEvent_ != nullptr) {
      realEvent_(context_, value);
      return true;
    }
    tjson::resetPayload(scalar_, TJSON_TYPE_FLOAT);
    scalar_->number = value;
    return deliver();
  }
  bool String(const char *text, rapidjson::SizeType length, bool) {
    tjson::resetPayload(scalar_, TJSON_TYPE_STRING);
    scalar_->string.assign(text, length);
    return deliver();
  }
  bool Key(const char *text, rapidjson::SizeType length, bool) {
    events_->key(context_, text, length);
    return true;
  }
  bool StartObject() { return open(events_->startObject); }
  bool EndObject(rapidjson::SizeType) { return close(events_->endObject); }
  bool StartArray() {
    if (!open(events_->startArray)) return false;
    if (integerEvent_ != nullptr && realEvent_ != nullptr) readNumberRun();
    return true;
  }
  bool EndArray(rapidjson::SizeType) { return close(events_->endArray); }

  DepthLimit limit;

 private:
  // A run of numbers at the start of an array, handed over as typed events (NumberRun).
  void readNumberRun() {
    NumberRun::read(
        const_cast<rapidjson::InsituStringStream *>(stream),
        [this](int64_t integer) {
          if (integersEvent_ != nullptr) {
            batch_[batched_++] = integer;
            if (batched_ == kBatch) flushBatch();
          } else {
            integerEvent_(context_, integer);
          }
        },
        [this](double real) {
          if (batched_ != 0) flushBatch();
          realEvent_(context_, real);
        });
    if (batched_ != 0) flushBatch();
  }
  void flushBatch() {
    integersEvent_(context_, batch_, batched_);
    batched_ = 0;
  }

  bool open(void (*event)(void *)) {
    if (!limit.enter()) return false;
    event(context_);
    return true;
  }
  bool close(void (*event)(void *)) {
    limit.leave();
    event(context_);
    return true;
  }
  bool deliver(uint8_t type) {
    tjson::resetPayload(scalar_, type);
    return deliver();
  }
  bool deliver() {
    events_->scalar(context_, scalar_);
    return true;
  }

  const TJsonEvents *events_ = nullptr;
  void (*integerEvent_)(void *, int64_t) = nullptr;
  void (*realEvent_)(void *, double) = nullptr;
  void (*integersEvent_)(void *, const int64_t *, uint64_t) = nullptr;
  // Integers of a run not yet handed over through integersEvent_.
  static constexpr size_t kBatch = 64;
  int64_t batch_[kBatch];
  size_t batched_ = 0;
  void *context_ = nullptr;
  Node *scalar_ = nullptr;
};

// A host checks a text before it hands it on (a shell that is given a text it cannot parse
// stays locked), and the text is then parsed again, usually by another reader on the same
// thread. So a check builds the tree that a parse would and keeps it, with a copy of the
// text, for the next parse of the same bytes on this thread; a parse of anything else
// drops it. Each thread keeps at most one tree.
class CheckedTree {
 public:
  CheckedTree() = default;
  CheckedTree(const CheckedTree &) = delete;
  CheckedTree &operator=(const CheckedTree &) = delete;
  ~CheckedTree() { drop(); }

  // Takes tree, built from the size bytes at begin. Throws std::bad_alloc and then has
  // freed tree.
  void keep(const char *begin, size_t size, Node *tree) {
    drop();
    tjson::OwnedNode owned(tree);
    text_.assign(begin, size);
    tree_ = owned.release();
  }

  // The tree kept for exactly the size bytes at begin, handed over; nullptr if there is
  // none. Whatever was kept is gone afterwards.
  Node *take(const char *begin, size_t size) noexcept {
    if (tree_ == nullptr) return nullptr;
    Node *tree = nullptr;
    if (text_.size() == size && std::memcmp(text_.data(), begin, size) == 0) {
      tree = tree_;
      tree_ = nullptr;
    }
    drop();
    return tree;
  }

  void drop() noexcept {
    tjson::destroyTree(tree_);
    tree_ = nullptr;
    // A large text's copy goes at once, as the readers' own copies do.
    if (text_.capacity() > kKeptText) {
      std::string().swap(text_);
    } else {
      text_.clear();
    }
  }

 private:
  static constexpr size_t kKeptText = 256 * 1024;
  std::string text_;
  Node *tree_ = nullptr;
};

thread_local CheckedTree checkedTree;

}  // namespace

struct TJsonReader {
  Reader reader;
  TreeBuilder builder;
  Checker checker;
  Walker walker;
  uint64_t errorOffset = 0;
  const char *errorText = kNoErrorText;

  // Room for the copy of the text; kept between calls up to kKeptCopy bytes.
  std::unique_ptr<char[]> copyBuffer;
  size_t copyCapacity = 0;
  static constexpr size_t kKeptCopy = 256 * 1024;
  static constexpr size_t kPadding = 16;  // a vector load from the NUL stays inside

  // The text followed by NUL bytes up to the next multiple of kPadding (at least one).
  // Throws std::bad_alloc.
  char *copy(const char *begin, size_t size) {
    const size_t padded = (size / kPadding + 1) * kPadding;
    if (padded > copyCapacity) {
      copyBuffer.reset();
      copyCapacity = 0;
      copyBuffer.reset(new char[padded]);
      copyCapacity = padded;
    }
    if (size != 0) std::memcpy(copyBuffer.get(), begin, size);
    std::memset(copyBuffer.get() + size, 0, padded - size);
    return copyBuffer.get();
  }
  void releaseLargeCopy() {
    if (copyCapacity <= kKeptCopy) return;
    copyBuffer.reset();
    copyCapacity = 0;
  }

  // Runs one parse and records its outcome; true on success.
  template <typename Handler>
  bool run(const char *begin, const char *end, Handler &handler) {
    const size_t size = static_cast<size_t>(end - begin);
    const bool parsed = runOnCopy(copy(begin, size), size, handler);
    releaseLargeCopy();
    return parsed;
  }

  template <typename Handler>
  bool runOnCopy(char *text, size_t size, Handler &handler) {
    if (const size_t lone = loneLowSurrogate(text, size); lone < size) {
      errorOffset = lone;
      errorText = rapidjson::GetParseError_En(rapidjson::kParseErrorStringUnicodeSurrogateInvalid);
      return false;
    }
    rapidjson::InsituStringStream stream(text);
    handler.numbers.tooBig = false;
    handler.stream = &stream;
    const rapidjson::ParseResult result = isValidUtf8(text, size)
                                              ? reader.Parse<kParseFlagsValidText>(stream, handler)
                                              : reader.Parse<kParseFlags>(stream, handler);
    if (result.IsError()) {
      errorOffset = result.Offset();
      if (result.Code() == rapidjson::kParseErrorTermination && handler.limit.exceeded()) {
        errorText = kDepthText;
      } else if (result.Code() == rapidjson::kParseErrorTermination && handler.numbers.tooBig) {
        errorText = rapidjson::GetParseError_En(rapidjson::kParseErrorNumberTooBig);
      } else if (result.Code() == rapidjson::kParseErrorDocumentEmpty && stream.Tell() < size) {
        // The stream reads a NUL byte as the end of the text; it is not.
        errorText = rapidjson::GetParseError_En(rapidjson::kParseErrorValueInvalid);
      } else {
        errorText = rapidjson::GetParseError_En(result.Code());
      }
      return false;
    }
    if (stream.Tell() != size) {
      // Stopped at a NUL byte after the value.
      errorOffset = stream.Tell();
      errorText = rapidjson::GetParseError_En(rapidjson::kParseErrorDocumentRootNotSingular);
      return false;
    }
    errorOffset = 0;
    errorText = kNoErrorText;
    return true;
  }
};

extern "C" {

uint32_t TJsonReader_open(TJsonReader **reader) {
  if (reader == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *reader = new (std::nothrow) TJsonReader();
  return *reader != nullptr ? TCOMMON_SUCCESS : TCOMMON_NO_MEMORY;
}

uint32_t TJsonReader_close(TJsonReader **reader) {
  if (reader == nullptr) return TCOMMON_INVALID_ARGUMENT;
  delete *reader;
  *reader = nullptr;
  return TCOMMON_SUCCESS;
}

uint32_t TJsonReader_parse(TJsonReader *reader, const char *begin, const char *end,
                           TJsonValue **value) {
  if (reader == nullptr || begin == nullptr || end == nullptr || end < begin || value == nullptr) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  *value = nullptr;
  if (Node *checked = checkedTree.take(begin, static_cast<size_t>(end - begin))) {
    reader->errorOffset = 0;
    reader->errorText = kNoErrorText;
    *value = checked;
    return TCOMMON_SUCCESS;
  }
  TreeBuilder &builder = reader->builder;
  try {
    builder.begin();
    if (!reader->run(begin, end, builder)) {
      builder.discard();
      return TCOMMON_PARSE_ERROR;
    }
    *value = builder.finish();
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    builder.discard();
    return TCOMMON_NO_MEMORY;
  } catch (...) {
    builder.discard();
    return TCOMMON_FAILED;
  }
}

uint32_t TJsonReader_check(TJsonReader *reader, const char *begin, const char *end) {
  if (reader == nullptr || begin == nullptr || end == nullptr || end < begin) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  // The tree that a parse of the text would build, kept for that parse (CheckedTree).
  TreeBuilder &builder = reader->builder;
  try {
    builder.begin();
    if (!reader->run(begin, end, builder)) {
      builder.discard();
      return TCOMMON_PARSE_ERROR;
    }
    checkedTree.keep(begin, static_cast<size_t>(end - begin), builder.finish());
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    builder.discard();
  } catch (...) {
    builder.discard();
    return TCOMMON_FAILED;
  }
  // Short of memory for the tree: the check alone still answers.
  try {
    reader->checker.limit.reset();
    return reader->run(begin, end, reader->checker) ? TCOMMON_SUCCESS : TCOMMON_PARSE_ERROR;
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  } catch (...) {
    return TCOMMON_FAILED;
  }
}

uint32_t TJsonReader_walk(TJsonReader *reader, const char *begin, const char *end,
                          const TJsonEvents *events, void *context) {
  return TJsonReader_walkNumbers(reader, begin, end, events, nullptr, context);
}

uint32_t TJsonReader_walkNumbers(TJsonReader *reader, const char *begin, const char *end,
                                 const TJsonEvents *events, const TJsonNumberEvents *numbers,
                                 void *context) {
  if (reader == nullptr || begin == nullptr || end == nullptr || end < begin || events == nullptr ||
      events->startObject == nullptr || events->endObject == nullptr ||
      events->startArray == nullptr || events->endArray == nullptr || events->key == nullptr ||
      events->scalar == nullptr) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  try {
    reader->walker.begin(events, numbers, context);
    return reader->run(begin, end, reader->walker) ? TCOMMON_SUCCESS : TCOMMON_PARSE_ERROR;
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  } catch (...) {
    return TCOMMON_FAILED;
  }
}

uint32_t TJsonReader_error(const TJsonReader *reader, uint64_t *offset, const char **text) {
  if (reader == nullptr || offset == nullptr || text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *offset = reader->errorOffset;
  *text = reader->errorText;
  return TCOMMON_SUCCESS;
}

}  // extern "C"
