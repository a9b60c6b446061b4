#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <vector>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "json_node.h"
#include "json_rapidjson.h"
#include "json_utf8.h"
#include "t_common.h"
#include "t_json.h"

using tjson::isValidUtf8;
using tjson::Node;
using tjson::sequenceLength;

namespace {

using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, tjson::ThrowingAllocator>;
using CompactWriter =
    rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, tjson::ThrowingAllocator>;
using PrettyWriter =
    rapidjson::PrettyWriter<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, tjson::ThrowingAllocator>;

constexpr uint32_t kDefaultFlags = TJSON_WRITER_NULL_FOR_ABSENT | TJSON_WRITER_SHORTEST_FLOAT;
constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

// Texts from this length on are checked for bytes to escape and, when they have none,
// copied as they are.
constexpr size_t kLongText = 256;
constexpr uint64_t kNumberRun = 64;   // numbers printed per writer call
constexpr size_t kWidestNumber = 48;  // bytes of the longest number text, with its comma

// The texts of 0 to 9 999, each as the bytes of one word in memory order (as memcpy
// stores it), the digits first and zero bytes after them: "7" is '7' 0 0 0.
constexpr std::array<uint32_t, 10000> makeShortIntegers() {
  std::array<uint32_t, 10000> texts{};
  for (uint32_t value = 0; value < 10000; ++value) {
    char digits[4] = {};
    const unsigned length = 1u + (value >= 10) + (value >= 100) + (value >= 1000);
    for (unsigned i = 0, rest = value; i < length; ++i, rest /= 10) {
      digits[length - 1 - i] = static_cast<char>('0' + rest % 10);
    }
    uint32_t word = 0;
    for (unsigned i = 0; i < 4; ++i) {
      const uint32_t byte = static_cast<unsigned char>(digits[i]);
      word |= std::endian::native == std::endian::little ? byte << (8 * i) : byte << (24 - 8 * i);
    }
    texts[value] = word;
  }
  return texts;
}
constexpr std::array<uint32_t, 10000> kShortIntegers = makeShortIntegers();

// The text of value, as rapidjson::internal::u64toa prints it, into out (which has room
// for 4 bytes more than the text). Numbers below 10 000, most of a tuning record's, are
// one table word, stored whole; its length is where its zero bytes begin.
inline char *writeUnsigned(char *out, uint64_t value) {
  if (value >= 10000) return rapidjson::internal::u64toa(value, out);
  const uint32_t text = kShortIntegers[value];
  std::memcpy(out, &text, 4);
  // Never zero: the first byte is a digit.
  const int zeroBits =
      std::endian::native == std::endian::little ? __builtin_clz(text) : __builtin_ctz(text);
  return out + 4 - zeroBits / 8;
}

// The text of value, as rapidjson::internal::i64toa prints it; room as for writeUnsigned.
inline char *writeInteger(char *out, int64_t value) {
  if (value < 0) {
    *out++ = '-';
    return writeUnsigned(out, 0 - static_cast<uint64_t>(value));
  }
  return writeUnsigned(out, static_cast<uint64_t>(value));
}

// Texts of recently printed doubles that need the full shortest-digits search. A tuning
// database repeats a few hundred values (a curve's constant tail, a table of one gain)
// across thousands of entries; each thread keeps the last text per slot.
struct DoubleText {
  uint64_t bits;  // never 0: zero is printed before the cache is asked
  char text[24];  // the longest layout ("0.00000" and 17 digits) has 24 bytes
  uint8_t length;
};
constexpr unsigned kDoubleTextBits = 9;
thread_local DoubleText tDoubleTexts[1u << kDoubleTextBits];

// A finite double laid out as RapidJSON lays it out ("1.0", "100.0", "1e22", "2.5e-7",
// "-0.0"), with the digits of std::to_chars: the fewest that read back to the same double
// and, among those, the nearest. RapidJSON's own digit generation sometimes picks a
// farther one of the same length (0.30000000000000007 for 0.1 + 0.2) and takes about
// twice as long. Needs 26 bytes at out.
char *shortestDouble(char *out, double number) {
  if (number == 0.0) {
    if (std::signbit(number)) *out++ = '-';
    std::memcpy(out, "0.0", 3);
    return out + 3;
  }
  if (number < 0) {
    *out++ = '-';
    number = -number;
  }
  // Whole numbers and halves, most of the values of a tuning record (1.0, 8.0, 5.5), are
  // exact in decimal with at most 16 digits, and then that text is the shortest.
  // (Converted to an integer and back rather than truncated: without SSE4.1 std::trunc is a
  // call.)
  const double twice = number * 2;  // exact
  if (number < 0x1p50 && static_cast<double>(static_cast<int64_t>(twice)) == twice) {
    const auto halves = static_cast<uint64_t>(twice);
    out = writeUnsigned(out, halves / 2);
    *out++ = '.';
    *out++ = (halves & 1) != 0 ? '5' : '0';
    return out;
  }
  uint64_t bits = 0;
  std::memcpy(&bits, &number, sizeof bits);
  DoubleText &known = tDoubleTexts[(bits * 0x9E3779B97F4A7C15u) >> (64 - kDoubleTextBits)];
  if (known.bits == bits) {
    std::memcpy(out, known.text, sizeof known.text);
    return out + known.length;
  }
  // d[.ddd]e(+|-)xx
  char scientific[32];
  const char *end = std::to_chars(scientific, scientific + sizeof scientific, number,
                                  std::chars_format::scientific)
                        .ptr;
  const char *p = scientific;
  int length = 0;
  out[length++] = *p++;
  if (*p == '.') {
    for (++p; *p != 'e'; ++p) out[length++] = *p;
  }
  ++p;
  if (*p == '+') ++p;
  int exponent = 0;
  std::from_chars(p, end, exponent);
  char *const laidOut = rapidjson::internal::Prettify(out, length, exponent - (length - 1), 324);
  if (laidOut - out <= static_cast<ptrdiff_t>(sizeof known.text)) {
    known.bits = bits;
    known.length = static_cast<uint8_t>(laidOut - out);
    std::memcpy(known.text, out, known.length);
  }
  return laidOut;
}

// True when a JSON string holds the bytes as they are: no control byte, quote or
// backslash to escape.
bool isPlain(const char *text, size_t length) {
  // Eight bytes at a time: a byte below 0x20, or equal to '"' or '\\', sets the high bit
  // of its lane in found (each term is the classic test for a zero or smaller byte).
  constexpr uint64_t kOnes = 0x0101010101010101u;
  constexpr uint64_t kHighs = kOnes * 0x80;
  size_t i = 0;
  for (; i + 8 <= length; i += 8) {
    uint64_t word = 0;
    std::memcpy(&word, text + i, 8);
    const uint64_t quote = word ^ (kOnes * '"');
    const uint64_t backslash = word ^ (kOnes * '\\');
    const uint64_t found = ((word - kOnes * 0x20) & ~word) | ((quote - kOnes) & ~quote) |
                           ((backslash - kOnes) & ~backslash);
    if ((found & kHighs) != 0) return false;
  }
  for (; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte == '"' || byte == '\\') return false;
  }
  return true;
}

// True when a text is printable ASCII with nothing to escape: valid UTF-8 as it stands and
// printed as it is (member names, categories, keys, data URIs).
bool isPlainAscii(const char *text, size_t length) {
  size_t i = 0;
#if defined(__SSE2__)
  // Sixteen bytes at a time. Compared as signed bytes, those from 0x80 on are negative and
  // so below 0x20 as well.
  const __m128i space = _mm_set1_epi8(0x20);
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const auto escaped = [&](size_t at) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + at));
    return _mm_or_si128(
        _mm_cmplt_epi8(bytes, space),
        _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash)));
  };
  // Long texts (a data URI of a whole document) four blocks per test.
  for (; i + 64 <= length; i += 64) {
    const __m128i any = _mm_or_si128(_mm_or_si128(escaped(i), escaped(i + 16)),
                                     _mm_or_si128(escaped(i + 32), escaped(i + 48)));
    if (_mm_movemask_epi8(any) != 0) return false;
  }
  for (; i + 16 <= length; i += 16) {
    if (_mm_movemask_epi8(escaped(i)) != 0) return false;
  }
#endif
  for (; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\') return false;
  }
  return true;
}

// Copies text into out with every byte that is not part of a well-formed sequence
// replaced by U+FFFD.
void replaceInvalid(const char *text, size_t length, std::string &out) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(text);
  out.clear();
  size_t i = 0;
  while (i < length) {
    const size_t step = sequenceLength(bytes + i, length - i);
    if (step == 0) {
      out.append(kReplacement, 3);
      ++i;
    } else {
      out.append(text + i, step);
      i += step;
    }
  }
}

}  // namespace

struct TJsonWriter {
  uint32_t flags = kDefaultFlags;
  uint32_t indent = 0;
  Buffer buffer;
  CompactWriter compact{buffer};
  PrettyWriter pretty{buffer};
  struct Frame {
    const Node *container;
    uint32_t next;
  };
  std::vector<Frame> frames;  // reused between calls
  std::string repaired;       // reused between calls
  // Streaming output: what each open container expects next (kExpect*), innermost last;
  // a document is complete once its root value is written.
  enum : uint8_t { kExpectKey, kExpectMemberValue, kExpectElement };
  std::vector<uint8_t> expected;
  bool isStreaming = false;
  bool hasRoot = false;

  // Calls print with the output of the configured layout.
  template <typename Print>
  void withOutput(Print &&print) {
    if (indent > 0) {
      print(pretty);
    } else {
      print(compact);
    }
  }

  template <typename Output>
  void emitText(Output &output, const tjson::Text &text, bool isKey) {
    emitBytes(output, text.data(), text.length, isKey);
  }

  template <typename Output>
  void emitBytes(Output &output, const char *data, rapidjson::SizeType length, bool isKey) {
    if (isPlainAscii(data, length)) {
      // Copied as it stands, after the writer has placed the separator and the opening
      // quote (the writer places a member name's separators as for any string).
      emitQuoted(output, data, length);
      return;
    }
    if (!isValidUtf8(data, length)) {
      replaceInvalid(data, length, repaired);
      data = repaired.data();
      length = static_cast<rapidjson::SizeType>(repaired.size());
    }
    if (isKey) {
      output.Key(data, length);
    } else if (length >= kLongText && isPlain(data, length)) {
      // Long texts (data URIs of whole documents) are copied in one piece.
      emitQuoted(output, data, length);
    } else {
      output.String(data, length);
    }
  }

  // A string whose bytes need no escaping, copied in one piece after the writer has
  // placed the opening quote.
  template <typename Output>
  void emitQuoted(Output &output, const char *data, rapidjson::SizeType length) {
    output.RawValue("\"", 1, rapidjson::kStringType);
    char *at = buffer.Push(length + 1);
    std::memcpy(at, data, length);
    at[length] = '"';
  }

  template <typename Output>
  void emitDouble(Output &output, double number) {
    if (!std::isfinite(number)) {
      output.Null();
    } else {
      char text[40];
      char *end = formatDouble(text, number);
      output.RawValue(text, static_cast<size_t>(end - text), rapidjson::kNumberType);
    }
  }

  // The text emitDouble prints for number, into out (40 bytes); returns its end.
  char *formatDouble(char *out, double number) const {
    if (!std::isfinite(number)) {
      std::memcpy(out, "null", 4);
      return out + 4;
    }
    if ((flags & TJSON_WRITER_SHORTEST_FLOAT) != 0) return shortestDouble(out, number);
    // 17 significant digits, independent of the locale; still marked as a double.
    char *end = std::to_chars(out, out + 38, number, std::chars_format::general, 17).ptr;
    if (std::memchr(out, '.', end - out) == nullptr &&
        std::memchr(out, 'e', end - out) == nullptr) {
      *end++ = '.';
      *end++ = '0';
    }
    return end;
  }

  // A number: its type and the bits of its payload, as a node or a packed array holds it.
  struct Number {
    uint8_t type;
    uint64_t bits;
  };

  // The text of a number as the writer prints it, into out (kWidestNumber bytes); returns
  // its end.
  char *formatNumber(char *out, Number number) const {
    switch (number.type) {
      case TJSON_TYPE_INTEGER:
        return rapidjson::internal::i64toa(static_cast<int64_t>(number.bits), out);
      case TJSON_TYPE_UNSIGNED:
        return rapidjson::internal::u64toa(number.bits, out);
      default:
        return formatDouble(out, std::bit_cast<double>(number.bits));
    }
  }

  // The elements of a compact array that holds numbers only (a table's row), printed
  // straight into the buffer as TJsonWriter_integers prints them: the first through the
  // writer, which places its separator and then knows that the array holds a value, the
  // rest after it. False, with nothing printed, when the array holds anything else.
  bool emitNumbers(CompactWriter &output, const Node *array) {
    const tjson::Children &children = array->children;
    if (children.size == 0) return false;
    if (children.isPacked) {
      const uint8_t *types = tjson::packedTypes(children);
      emitNumberRuns(output, children.size, [&](uint32_t i) {
        return Number{types[i], children.cells[i]};
      });
      return true;
    }
    for (uint32_t i = 0; i < children.size; ++i) {
      if (!tjson::isNumberType(children.items[i]->type)) return false;
    }
    emitNumberRuns(output, children.size, [&](uint32_t i) {
      const Node *node = children.items[i];
      return Number{node->type, node->unsignedInteger};
    });
    return true;
  }

  // Prints count numbers, the i-th being elementAt(i), as emitNumbers describes.
  template <typename ElementAt>
  void emitNumberRuns(CompactWriter &output, uint32_t count, ElementAt &&elementAt) {
    char first[kWidestNumber];
    char *end = formatNumber(first, elementAt(0));
    output.RawValue(first, static_cast<size_t>(end - first), rapidjson::kNumberType);
    for (uint32_t done = 1; done < count;) {
      const uint32_t run = std::min<uint32_t>(count - done, kNumberRun);
      char *const start = buffer.Push(run * kWidestNumber);
      end = start;
      for (uint32_t i = 0; i < run; ++i) {
        *end++ = ',';
        end = formatNumber(end, elementAt(done + i));
      }
      buffer.Pop(static_cast<size_t>(run * kWidestNumber - (end - start)));
      done += run;
    }
  }

  // Writes a scalar, or opens a container and queues it.
  template <typename Output>
  void emitValue(Output &output, const Node *node) {
    switch (node->type) {
      case TJSON_TYPE_BOOLEAN:
        output.Bool(node->boolean != 0);
        break;
      case TJSON_TYPE_INTEGER:
        output.Int64(node->integer);
        break;
      case TJSON_TYPE_UNSIGNED:
        output.Uint64(node->unsignedInteger);
        break;
      case TJSON_TYPE_FLOAT:
        emitDouble(output, node->number);
        break;
      case TJSON_TYPE_STRING:
        emitText(output, node->string, false);
        break;
      case TJSON_TYPE_ARRAY:
        output.StartArray();
        if constexpr (std::is_same_v<Output, CompactWriter>) {
          if (emitNumbers(output, node)) {
            output.EndArray();
            break;
          }
        }
        frames.push_back(Frame{node, 0});
        break;
      case TJSON_TYPE_OBJECT:
        output.StartObject();
        frames.push_back(Frame{node, 0});
        break;
      default:  // null, and an absent element of an array
        output.Null();
        break;
    }
  }

  // Iterative, like the reader: trees built through the API have no depth limit.
  template <typename Output>
  void emitTree(Output &output, const Node *root) {
    output.Reset(buffer);
    emitSubtree(output, root);
  }

  // Prints root and everything below it where output stands: as a whole document after
  // a Reset, or as one piece of a streamed one.
  template <typename Output>
  void emitSubtree(Output &output, const Node *root) {
    frames.clear();
    emitValue(output, root);
    while (!frames.empty()) {
      Frame &frame = frames.back();
      const Node *container = frame.container;
      const bool isObject = container->type == TJSON_TYPE_OBJECT;
      if (frame.next == container->children.size) {
        frames.pop_back();
        if (isObject) {
          output.EndObject();
        } else {
          output.EndArray();
        }
        continue;
      }
      if (container->children.isPacked) {
        // Only the pretty layout comes here: the compact one prints a packed array whole.
        const Node element = tjson::packedElement(container->children, frame.next++);
        emitValue(output, &element);
        continue;
      }
      const Node *child = container->children.items[frame.next++];
      if (isObject) {
        if (child->type == TJSON_TYPE_ABSENT) continue;
        emitText(output, child->name, true);
      }
      emitValue(output, child);
    }
  }
};

extern "C" {

uint32_t TJsonWriter_open(const TJsonWriterConfiguration *configuration, TJsonWriter **writer) {
  if (writer == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *writer = nullptr;
  try {
    auto *created = new TJsonWriter();
    if (configuration != nullptr) {
      created->flags = configuration->flags;
      created->indent = configuration->indent;
    }
    if (created->indent > 0) created->pretty.SetIndent(' ', created->indent);
    *writer = created;
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    return TCOMMON_NO_MEMORY;
  }
}

uint32_t TJsonWriter_close(TJsonWriter **writer) {
  if (writer == nullptr) return TCOMMON_INVALID_ARGUMENT;
  delete *writer;
  *writer = nullptr;
  return TCOMMON_SUCCESS;
}

uint32_t TJsonWriter_stringify(TJsonWriter *writer, const TJsonValue *value, const char **text) {
  if (writer == nullptr || text == nullptr) return TCOMMON_INVALID_ARGUMENT;
  Buffer &buffer = writer->buffer;
  writer->isStreaming = false;  // the buffer now holds this text, not a streamed one
  try {
    buffer.Clear();
    if (value == nullptr || value->type == TJSON_TYPE_ABSENT) {
      if ((writer->flags & TJSON_WRITER_NULL_FOR_ABSENT) != 0) {
        std::memcpy(buffer.Push(4), "null", 4);
      }
    } else if (writer->indent > 0) {
      writer->emitTree(writer->pretty, value);
    } else {
      writer->emitTree(writer->compact, value);
    }
    *text = buffer.GetString();
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    buffer.Clear();
    return TCOMMON_NO_MEMORY;
  } catch (...) {
    buffer.Clear();
    return TCOMMON_FAILED;
  }
}

}  // extern "C"

// ---- Streaming output ----------------------------------------------------------------------

namespace {

// Whether a value may come next; if so the document moves past it.
bool acceptValue(TJsonWriter *writer) {
  if (!writer->isStreaming) return false;
  if (writer->expected.empty()) {
    if (writer->hasRoot) return false;
    writer->hasRoot = true;
    return true;
  }
  uint8_t &next = writer->expected.back();
  if (next == TJsonWriter::kExpectKey) return false;
  if (next == TJsonWriter::kExpectMemberValue) next = TJsonWriter::kExpectKey;
  return true;
}

// Runs print on the writer's output; a failed allocation ends the document.
template <typename Print>
uint32_t streamed(TJsonWriter *writer, Print &&print) {
  try {
    writer->withOutput(print);
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    writer->isStreaming = false;
    return TCOMMON_NO_MEMORY;
  }
}

template <typename Print>
uint32_t streamValue(TJsonWriter *writer, Print &&print) {
  if (writer == nullptr || !acceptValue(writer)) return TCOMMON_INVALID_ARGUMENT;
  return streamed(writer, print);
}

uint32_t streamStart(TJsonWriter *writer, bool isObject) {
  return streamValue(writer, [writer, isObject](auto &output) {
    writer->expected.push_back(isObject ? TJsonWriter::kExpectKey : TJsonWriter::kExpectElement);
    if (isObject) {
      output.StartObject();
    } else {
      output.StartArray();
    }
  });
}

uint32_t streamEnd(TJsonWriter *writer, bool isObject) {
  if (writer == nullptr || !writer->isStreaming || writer->expected.empty() ||
      writer->expected.back() !=
          (isObject ? TJsonWriter::kExpectKey : TJsonWriter::kExpectElement)) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  writer->expected.pop_back();
  return streamed(writer, [isObject](auto &output) {
    if (isObject) {
      output.EndObject();
    } else {
      output.EndArray();
    }
  });
}

}  // namespace

extern "C" {

uint32_t TJsonWriter_begin(TJsonWriter *writer) {
  if (writer == nullptr) return TCOMMON_INVALID_ARGUMENT;
  writer->buffer.Clear();
  writer->compact.Reset(writer->buffer);
  writer->pretty.Reset(writer->buffer);
  writer->expected.clear();
  writer->hasRoot = false;
  writer->isStreaming = true;
  return TCOMMON_SUCCESS;
}

uint32_t TJsonWriter_startObject(TJsonWriter *writer) {
  return streamStart(writer, true);
}
uint32_t TJsonWriter_endObject(TJsonWriter *writer) {
  return streamEnd(writer, true);
}
uint32_t TJsonWriter_startArray(TJsonWriter *writer) {
  return streamStart(writer, false);
}
uint32_t TJsonWriter_endArray(TJsonWriter *writer) {
  return streamEnd(writer, false);
}

uint32_t TJsonWriter_key(TJsonWriter *writer, const char *name, uint64_t length) {
  if (writer == nullptr || name == nullptr || length > tjson::Text::kMaximumLength ||
      !writer->isStreaming || writer->expected.empty() ||
      writer->expected.back() != TJsonWriter::kExpectKey) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  writer->expected.back() = TJsonWriter::kExpectMemberValue;
  return streamed(writer, [writer, name, length](auto &output) {
    writer->emitBytes(output, name, static_cast<rapidjson::SizeType>(length), true);
  });
}

uint32_t TJsonWriter_null(TJsonWriter *writer) {
  return streamValue(writer, [](auto &output) { output.Null(); });
}

uint32_t TJsonWriter_boolean(TJsonWriter *writer, uint8_t boolean) {
  return streamValue(writer, [boolean](auto &output) { output.Bool(boolean != 0); });
}

uint32_t TJsonWriter_integer(TJsonWriter *writer, int64_t integer) {
  return streamValue(writer, [integer](auto &output) { output.Int64(integer); });
}

uint32_t TJsonWriter_unsigned(TJsonWriter *writer, uint64_t integer) {
  return streamValue(writer, [integer](auto &output) { output.Uint64(integer); });
}

uint32_t TJsonWriter_float(TJsonWriter *writer, double number) {
  return streamValue(writer,
                     [writer, number](auto &output) { writer->emitDouble(output, number); });
}

uint32_t TJsonWriter_value(TJsonWriter *writer, const TJsonValue *value) {
  return streamValue(writer, [writer, value](auto &output) {
    if (value == nullptr || value->type == TJSON_TYPE_ABSENT) {
      output.Null();
    } else {
      writer->emitSubtree(output, value);
    }
  });
}

uint32_t TJsonWriter_string(TJsonWriter *writer, const char *text, uint64_t length) {
  if (text == nullptr || length > tjson::Text::kMaximumLength) return TCOMMON_INVALID_ARGUMENT;
  return streamValue(writer, [writer, text, length](auto &output) {
    writer->emitBytes(output, text, static_cast<rapidjson::SizeType>(length), false);
  });
}

}  // extern "C"

namespace {

// Whether elements may come next: an array is open.
bool acceptsElements(const TJsonWriter *writer) {
  return writer != nullptr && writer->isStreaming && !writer->expected.empty() &&
         writer->expected.back() == TJsonWriter::kExpectElement;
}

// count numbers printed straight into the buffer, each after a comma: the elements that
// follow the first of an array.
template <typename Number, typename Format>
void appendNumbers(Buffer &buffer, const Number *values, uint64_t count, Format &format) {
  for (uint64_t done = 0; done < count;) {
    const uint64_t run = std::min(count - done, kNumberRun);
    char *const start = buffer.Push(run * kWidestNumber);
    char *end = start;
    for (uint64_t i = 0; i < run; ++i) {
      *end++ = ',';
      end = format(end, values[done + i]);
    }
    buffer.Pop(static_cast<size_t>(run * kWidestNumber - (end - start)));
    done += run;
  }
}

// Elements of the open array. A compact document gets them printed straight into the
// buffer, without a writer call per number; a pretty one element by element, for the
// layout.
template <typename Number, typename Format, typename Print>
uint32_t streamElements(TJsonWriter *writer, const Number *values, uint64_t count, Format &&format,
                        Print &&print) {
  if (!acceptsElements(writer) || (values == nullptr && count != 0)) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  if (count == 0) return TCOMMON_SUCCESS;
  if (writer->indent > 0) {
    return streamed(writer, [&](auto &output) {
      for (uint64_t i = 0; i < count; ++i) print(output, values[i]);
    });
  }
  try {
    // The first element goes through the writer, which places the separator before it
    // and then knows that the array holds a value; the rest follow it in the buffer.
    char first[kWidestNumber];
    char *end = format(first, values[0]);
    writer->compact.RawValue(first, static_cast<size_t>(end - first), rapidjson::kNumberType);
    appendNumbers(writer->buffer, values + 1, count - 1, format);
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    writer->isStreaming = false;
    return TCOMMON_NO_MEMORY;
  }
}

// The rows below dimension of a table, straight into the buffer: "[1,2],[3,4]" for the
// last two dimensions of a 2 x 2 table, "1,2" for the last one. Returns the values after
// them.
template <typename Number, typename Format>
const Number *appendRows(Buffer &buffer, const Number *values, const uint32_t *shape,
                         uint32_t dimensions, Format &format) {
  const uint32_t count = shape[0];
  if (dimensions == 1) {
    if (count == 0) return values;
    char *const start = buffer.Push(kWidestNumber);
    buffer.Pop(static_cast<size_t>(kWidestNumber - (format(start, values[0]) - start)));
    appendNumbers(buffer, values + 1, count - 1, format);
    return values + count;
  }
  for (uint32_t i = 0; i < count; ++i) {
    char *open = buffer.Push(i == 0 ? 1 : 2);
    if (i != 0) *open++ = ',';
    *open = '[';
    values = appendRows(buffer, values, shape + 1, dimensions - 1, format);
    *buffer.Push(1) = ']';
  }
  return values;
}

// The same table through the writer, value by value, for the layout of a pretty document.
template <typename Output, typename Number, typename Print>
const Number *printRows(Output &output, const Number *values, const uint32_t *shape,
                        uint32_t dimensions, Print &print) {
  output.StartArray();
  for (uint32_t i = 0; i < shape[0]; ++i) {
    if (dimensions == 1) {
      print(output, *values++);
    } else {
      values = printRows(output, values, shape + 1, dimensions - 1, print);
    }
  }
  output.EndArray();
  return values;
}

// A table of numbers as the next value: nested arrays, shape[0] outermost.
template <typename Number, typename Format, typename Print>
uint32_t streamTable(TJsonWriter *writer, const Number *values, const uint32_t *shape,
                     uint32_t dimensions, Format &&format, Print &&print) {
  if (writer == nullptr || shape == nullptr || dimensions == 0) return TCOMMON_INVALID_ARGUMENT;
  uint64_t count = 1;
  for (uint32_t d = 0; d < dimensions; ++d) count *= shape[d];
  if (values == nullptr && count != 0) return TCOMMON_INVALID_ARGUMENT;
  if (!acceptValue(writer)) return TCOMMON_INVALID_ARGUMENT;
  if (writer->indent > 0) {
    return streamed(writer,
                    [&](auto &output) { printRows(output, values, shape, dimensions, print); });
  }
  try {
    // The writer places the separator and the outer brackets; the rows lie between them.
    writer->compact.StartArray();
    appendRows(writer->buffer, values, shape, dimensions, format);
    writer->compact.EndArray();
    return TCOMMON_SUCCESS;
  } catch (const std::bad_alloc &) {
    writer->isStreaming = false;
    return TCOMMON_NO_MEMORY;
  }
}

}  // namespace

extern "C" {

uint32_t TJsonWriter_integers(TJsonWriter *writer, const int64_t *values, uint64_t count) {
  return streamElements(
      writer, values, count, [](char *out, int64_t value) { return writeInteger(out, value); },
      [](auto &output, int64_t value) { output.Int64(value); });
}

uint32_t TJsonWriter_floats(TJsonWriter *writer, const double *values, uint64_t count) {
  return streamElements(
      writer, values, count,
      [writer](char *out, double value) { return writer->formatDouble(out, value); },
      [writer](auto &output, double value) { writer->emitDouble(output, value); });
}

uint32_t TJsonWriter_integerTable(TJsonWriter *writer, const int64_t *values, const uint32_t *shape,
                                  uint32_t dimensions) {
  return streamTable(
      writer, values, shape, dimensions,
      [](char *out, int64_t value) { return writeInteger(out, value); },
      [](auto &output, int64_t value) { output.Int64(value); });
}

uint32_t TJsonWriter_floatTable(TJsonWriter *writer, const double *values, const uint32_t *shape,
                                uint32_t dimensions) {
  return streamTable(
      writer, values, shape, dimensions,
      [writer](char *out, double value) { return writer->formatDouble(out, value); },
      [writer](auto &output, double value) { writer->emitDouble(output, value); });
}

uint32_t TJsonWriter_end(TJsonWriter *writer, const char **text) {
  if (writer == nullptr || text == nullptr || !writer->isStreaming || !writer->hasRoot ||
      !writer->expected.empty()) {
    return TCOMMON_INVALID_ARGUMENT;
  }
  writer->isStreaming = false;
  *text = writer->buffer.GetString();
  return TCOMMON_SUCCESS;
}

uint32_t TJsonWriter_length(const TJsonWriter *writer, uint64_t *length) {
  if (writer == nullptr || length == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *length = writer->buffer.GetSize();
  return TCOMMON_SUCCESS;
}

}  // extern "C"
