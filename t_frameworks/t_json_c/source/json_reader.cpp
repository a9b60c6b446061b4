#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <new>
#include <vector>

#include "json_node.h"
#include "json_rapidjson.h"
#include "t_common.h"
#include "t_json.h"

using tjson::Node;

namespace {

#define TJSON_TEXT_(x) #x
#define TJSON_TEXT(x) TJSON_TEXT_(x)
constexpr const char *kDepthText = "Nesting deeper than " TJSON_TEXT(TJSON_MAX_DEPTH) " levels";
#undef TJSON_TEXT
#undef TJSON_TEXT_
constexpr const char *kNoErrorText = "No error";

// Iterative: a request cannot exhaust the stack of the board however deep it nests.
constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseValidateEncodingFlag |
                                 rapidjson::kParseFullPrecisionFlag;

using Reader =
    rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, tjson::ThrowingAllocator>;

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

// Validation only.
class Checker : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Checker> {
 public:
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

// Builds the tree from SAX events. Finished values wait in pending_ until their container
// closes; then the container takes them all in one allocation of the exact size. A member
// node is made at its key, so that the value that follows only fills it in.
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
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
    for (Node *node : pending_) tjson::destroyTree(node);
    pending_.clear();
    frames_.clear();
    tjson::destroyTree(root_);
    root_ = nullptr;
    keyed_ = nullptr;
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
  bool Int(int value) { return integer(value); }
  bool Uint(unsigned value) { return integer(value); }
  bool Int64(int64_t value) { return integer(value); }
  bool Uint64(uint64_t value) {
    if (value <= INT64_MAX) return integer(static_cast<int64_t>(value));
    Node *node = slot();
    node->type = TJSON_TYPE_UNSIGNED;
    node->unsignedInteger = value;
    return true;
  }
  bool Double(double value) {
    Node *node = slot();
    node->type = TJSON_TYPE_FLOAT;
    node->number = value;
    return true;
  }
  bool String(const char *text, rapidjson::SizeType length, bool) {
    Node *node = slot();
    node->type = TJSON_TYPE_STRING;
    node->string.init();
    node->string.assign(text, length);
    return true;
  }
  bool Key(const char *text, rapidjson::SizeType length, bool) {
    Node *node = pendingNode();
    node->name.assign(text, length);
    keyed_ = node;
    return true;
  }
  bool StartObject() { return open(TJSON_TYPE_OBJECT); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool StartArray() { return open(TJSON_TYPE_ARRAY); }
  bool EndArray(rapidjson::SizeType) { return close(); }

  DepthLimit limit;

 private:
  struct Frame {
    Node *container;
    size_t first;  // index in pending_ of its first child
  };

  // The node that the next value fills in: the member made at its key, or a new element
  // (or the root). Made as null, so that Null() has nothing left to do.
  Node *slot() {
    if (keyed_ != nullptr) {
      Node *node = keyed_;
      keyed_ = nullptr;
      return node;
    }
    if (frames_.empty()) {
      root_ = tjson::createNode(TJSON_TYPE_NULL);
      return root_;
    }
    return pendingNode();
  }
  // A new null node waiting for its container. The place is taken first, so that once
  // the node exists discard() frees it whatever throws next.
  Node *pendingNode() {
    pending_.push_back(nullptr);
    pending_.back() = tjson::createNode(TJSON_TYPE_NULL);
    return pending_.back();
  }
  bool integer(int64_t value) {
    Node *node = slot();
    node->type = TJSON_TYPE_INTEGER;
    node->integer = value;
    return true;
  }
  bool open(uint8_t type) {
    if (!limit.enter()) return false;
    Node *node = slot();
    node->type = type;  // its children storage is already empty
    frames_.push_back(Frame{node, pending_.size()});
    return true;
  }
  bool close() {
    const Frame frame = frames_.back();
    tjson::adoptChildren(frame.container, pending_.data() + frame.first,
                         pending_.size() - frame.first);
    pending_.resize(frame.first);
    frames_.pop_back();
    limit.leave();
    return true;
  }

  std::vector<Node *> pending_;
  std::vector<Frame> frames_;
  Node *root_ = nullptr;
  Node *keyed_ = nullptr;
};

}  // namespace

struct TJsonReader {
  Reader reader;
  TreeBuilder builder;
  Checker checker;
  uint64_t errorOffset = 0;
  const char *errorText = kNoErrorText;

  // Runs one parse and records its outcome; true on success.
  template <typename Handler>
  bool run(const char *begin, const char *end, Handler &handler) {
    const size_t size = static_cast<size_t>(end - begin);
    rapidjson::MemoryStream stream(begin, size);
    const rapidjson::ParseResult result = reader.Parse<kParseFlags>(stream, handler);
    if (result.IsError()) {
      errorOffset = result.Offset();
      if (result.Code() == rapidjson::kParseErrorTermination && handler.limit.exceeded()) {
        errorText = kDepthText;
      } else if (result.Code() == rapidjson::kParseErrorDocumentEmpty && stream.Tell() < size) {
        // The memory stream reads a NUL byte as the end of the text; it is not.
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
  try {
    reader->checker.limit.reset();
    return reader->run(begin, end, reader->checker) ? TCOMMON_SUCCESS : TCOMMON_PARSE_ERROR;
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
