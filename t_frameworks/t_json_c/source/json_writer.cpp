#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "json_node.h"
#include "json_rapidjson.h"
#include "t_common.h"
#include "t_json.h"

using tjson::Node;

namespace {

using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, tjson::ThrowingAllocator>;
using CompactWriter =
    rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, tjson::ThrowingAllocator>;
using PrettyWriter =
    rapidjson::PrettyWriter<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, tjson::ThrowingAllocator>;

constexpr uint32_t kDefaultFlags = TJSON_WRITER_NULL_FOR_ABSENT | TJSON_WRITER_SHORTEST_FLOAT;
constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// Length of the well-formed UTF-8 sequence at text (no overlong forms, no surrogates,
// nothing above U+10FFFF), or 0 when there is none.
size_t sequenceLength(const unsigned char *text, size_t available) {
  const unsigned char lead = text[0];
  if (lead < 0x80) return 1;
  if (lead < 0xC2) return 0;
  if (lead < 0xE0) return available >= 2 && isContinuation(text[1]) ? 2 : 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead < 0xF0) {
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
    return available >= 3 && text[1] >= low && text[1] <= high && isContinuation(text[2]) ? 3 : 0;
  }
  if (lead < 0xF5) {
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
    return available >= 4 && text[1] >= low && text[1] <= high && isContinuation(text[2]) &&
                   isContinuation(text[3])
               ? 4
               : 0;
  }
  return 0;
}

bool isValidUtf8(const char *text, size_t length) {
  const auto *bytes = reinterpret_cast<const unsigned char *>(text);
  size_t i = 0;
  while (i < length) {
    if (bytes[i] < 0x80) {
      ++i;
      continue;
    }
    const size_t step = sequenceLength(bytes + i, length - i);
    if (step == 0) return false;
    i += step;
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

  template <typename Output>
  void emitText(Output &output, const tjson::Text &text, bool isKey) {
    const char *data = text.data();
    rapidjson::SizeType length = text.length;
    if (!isValidUtf8(data, length)) {
      replaceInvalid(data, length, repaired);
      data = repaired.data();
      length = static_cast<rapidjson::SizeType>(repaired.size());
    }
    if (isKey) {
      output.Key(data, length);
    } else {
      output.String(data, length);
    }
  }

  template <typename Output>
  void emitDouble(Output &output, double number) {
    if (!std::isfinite(number)) {
      output.Null();
    } else if ((flags & TJSON_WRITER_SHORTEST_FLOAT) != 0) {
      output.Double(number);
    } else {
      // 17 significant digits, independent of the locale; still marked as a double.
      char text[40];
      char *end =
          std::to_chars(text, text + sizeof text - 2, number, std::chars_format::general, 17).ptr;
      if (std::memchr(text, '.', end - text) == nullptr &&
          std::memchr(text, 'e', end - text) == nullptr) {
        *end++ = '.';
        *end++ = '0';
      }
      output.RawValue(text, static_cast<size_t>(end - text), rapidjson::kNumberType);
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

uint32_t TJsonWriter_length(const TJsonWriter *writer, uint64_t *length) {
  if (writer == nullptr || length == nullptr) return TCOMMON_INVALID_ARGUMENT;
  *length = writer->buffer.GetSize();
  return TCOMMON_SUCCESS;
}

}  // extern "C"
