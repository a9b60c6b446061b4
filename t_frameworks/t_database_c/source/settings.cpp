// Settings documents: every record printed as one JSON object, and the all-or-nothing
// application of such a document onto the records.
#include "settings.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "t_common.h"

namespace tdatabase {
namespace {

constexpr uint32_t kRefused = TCOMMON_WRONG_CONFIGURATION;

struct TreeDeleter {
  void operator()(TJsonValue *value) const { TJsonValue_delete(value); }
};
using Tree = std::unique_ptr<TJsonValue, TreeDeleter>;

struct ReaderCloser {
  void operator()(TJsonReader *reader) const { TJsonReader_close(&reader); }
};
using Reader = std::unique_ptr<TJsonReader, ReaderCloser>;

// Applies a settings document as the reader walks it, without a tree. The outcome, the
// refusal texts and which refusal is reported are those of applying the parsed tree
// member by member: the first refused value in document order, except that an array of
// the wrong length is refused as a whole before anything inside it is looked at.
class DocumentApplier {
 public:
  DocumentApplier(std::span<const RecordType *const> types, void *const *records,
                  void *const *scratch, std::vector<uint8_t> &isTouched)
      : types_(types), records_(records), scratch_(scratch), isTouched_(isTouched) {}
  ~DocumentApplier() {
    TJsonValue_delete(emptyArray_);
    TJsonValue_delete(emptyObject_);
  }

  // Makes the stand-ins for containers where a scalar is due. False: out of memory.
  bool prepare() {
    return TJsonValue_create(TJSON_TYPE_ARRAY, &emptyArray_) == TCOMMON_SUCCESS &&
           TJsonValue_create(TJSON_TYPE_OBJECT, &emptyObject_) == TCOMMON_SUCCESS;
  }

  static const TJsonEvents kEvents;

  bool isRefused() const { return state_ != State::Applying; }
  bool isOutOfMemory() const { return isOutOfMemory_; }
  std::string refusal() const {
    return state_ == State::Settled ? settled_ : fieldError_.text(types_[category_]->category);
  }

 private:
  enum class Kind : uint8_t { Document, Category, Record, Array, Skip };
  struct Level {
    Kind kind;
    const Layout *layout = nullptr;  // Category, Record: its fields
    unsigned char *at = nullptr;     // Category, Record: the struct; Array: its element 0
    const Field *field = nullptr;    // Category, Record: the member being read; Array: the field
    size_t next = 0;                 // Category, Record: where the next field search starts
    uint32_t dimension = 0;          // Array
    uint32_t dimensions = 0;         // Array: of its field
    uint32_t count = 0;              // Array: elements begun so far
    size_t stride = 0;               // Array: bytes from one element to the next
    bool isWatched = false;          // Array: open when a value inside it was refused
    size_t namedAt = 0;              // Category, Record: its first word in named_
  };
  // Applying; Refused: a refusal is recorded, an enclosing array of the wrong length may
  // still replace it; Settled: final, the rest of the document is only read.
  enum class State : uint8_t { Applying, Refused, Settled };

  static DocumentApplier &of(void *context) { return *static_cast<DocumentApplier *>(context); }

  // Runs one event; a failed allocation settles the walk as out of memory.
  template <typename Step>
  static void guarded(void *context, Step &&step) {
    DocumentApplier &applier = of(context);
    applier.endRun();
    if (applier.state_ == State::Settled) return;
    try {
      step(applier);
    } catch (const std::bad_alloc &) {
      applier.isOutOfMemory_ = true;
      applier.state_ = State::Settled;
    }
  }

  void settle(std::string text) {
    settled_ = std::move(text);
    state_ = State::Settled;
  }

  // Places the refusal just recorded in fieldError_ inside levels from..Category, and
  // watches the arrays among them.
  void refuseFrom(size_t from) {
    for (size_t i = from + 1; i-- > 0;) {
      Level &level = levels_[i];
      if (level.kind == Kind::Array) {
        fieldError_.encloseIndex(level.count - 1);
        level.isWatched = true;
      } else if (level.kind == Kind::Record || level.kind == Kind::Category) {
        fieldError_.enclose(level.field->name);
      }
      if (level.kind == Kind::Category) break;
    }
    state_ = State::Refused;
  }

  // A value begins at the innermost level: counts it, and says where its bytes go and
  // which field and dimension it is (nullptr field: the value is not applied).
  struct Slot {
    const Field *field = nullptr;
    uint32_t dimension = 0;
    uint32_t dimensions = 0;  // of field
    unsigned char *at = nullptr;
  };
  Slot begin() {
    Level &level = levels_.back();
    if (level.kind == Kind::Array) {
      const uint32_t index = level.count++;
      if (state_ != State::Applying || index >= level.field->shape[level.dimension]) return {};
      return {level.field, level.dimension + 1, level.dimensions, level.at + index * level.stride};
    }
    if (state_ != State::Applying) return {};
    if (level.kind == Kind::Record || level.kind == Kind::Category) {
      return {level.field, 0, fieldDimensions(*level.field), level.at + level.field->offset};
    }
    return {};
  }

  // A new innermost level, built where it stays (a level built aside and copied in stalled
  // on the copy).
  Level &push(Kind kind) {
    Level &level = levels_.emplace_back();
    level.kind = kind;
    return level;
  }

  // Opens a level of fields: a category's record or a group inside one, with none of its
  // fields named yet.
  void openFields(Kind kind, const Layout *layout, unsigned char *at) {
    Level &level = push(kind);
    level.layout = layout;
    level.at = at;
    level.namedAt = named_.size();
    named_.resize(named_.size() + (layout->fields.size() + 63) / 64, 0);
  }

  // Notes that field of level has been named; false when it had been already.
  bool markNamed(const Level &level, const Field *field) {
    const size_t index = static_cast<size_t>(field - level.layout->fields.data());
    uint64_t &word = named_[level.namedAt + index / 64];
    const uint64_t bit = uint64_t{1} << (index % 64);
    if ((word & bit) != 0) return false;
    word |= bit;
    return true;
  }

  // A container begins where slot is due.
  void open(bool isObject) {
    const size_t top = levels_.size() - 1;
    const Kind kind = levels_[top].kind;
    if (kind == Kind::Document && state_ == State::Applying && levels_.size() == 1) {
      if (isObject) {
        push(Kind::Document);
      } else {
        settle("a settings document is a JSON object, found an array");
      }
      return;
    }
    if (kind == Kind::Document) {  // a category's value
      if (isObject) {
        unsigned char *record = static_cast<unsigned char *>(scratch_[category_]);
        openFields(Kind::Category, &types_[category_]->layout, record);
      } else {
        fieldError_.fail(std::string("expected an object, found ") +
                         jsonTypeName(TJSON_TYPE_ARRAY));
        settle(fieldError_.text(types_[category_]->category));
      }
      return;
    }
    const Slot slot = begin();
    if (slot.field == nullptr) {
      push(Kind::Skip);
      return;
    }
    const Field &field = *slot.field;
    uint32_t result = TCOMMON_SUCCESS;
    if (slot.dimension < slot.dimensions) {
      if (!isObject) {
        Level &array = push(Kind::Array);
        array.field = &field;
        array.dimension = slot.dimension;
        array.dimensions = slot.dimensions;
        array.at = slot.at;
        array.stride = fieldStride(field, slot.dimension);
        beginRun();
        return;
      }
      result = refuseNotArray(fieldError_, TJSON_TYPE_OBJECT);
    } else if (field.kind == tdatabase::Kind::Group && isObject) {
      openFields(Kind::Record, field.layout, slot.at);
      return;
    } else {
      result = applyElement(field, isObject ? emptyObject_ : emptyArray_, slot.at, fieldError_);
    }
    if (result == TCOMMON_NO_MEMORY) throw std::bad_alloc();
    if (result != TCOMMON_SUCCESS) refuseFrom(levels_.size() - 1);
    push(Kind::Skip);
  }

  void close() {
    // What is needed of the level, read member by member (its count was just written).
    const Level &top = levels_.back();
    const Kind kind = top.kind;
    const uint32_t count = top.count;
    const uint32_t expected = kind == Kind::Array ? top.field->shape[top.dimension] : 0;
    const bool isWatched = top.isWatched;
    const size_t namedAt = top.namedAt;
    levels_.pop_back();
    if (kind == Kind::Record || kind == Kind::Category) named_.resize(namedAt);
    if (kind == Kind::Array) {
      if (count != expected && (state_ == State::Applying || isWatched)) {
        fieldError_.fail("expected " + std::to_string(expected) + " elements, found " +
                         std::to_string(count));
        refuseFrom(levels_.size() - 1);
      }
    } else if (kind == Kind::Category && state_ == State::Refused) {
      settle(fieldError_.text(types_[category_]->category));
    }
  }

  void key(const char *name) {
    Level &level = levels_.back();
    if (level.kind == Kind::Document) {
      if (state_ != State::Applying) return;
      const size_t count = types_.size();
      size_t index = count;
      for (size_t tried = 0, i = nextCategory_; tried < count; ++tried, ++i) {
        if (i == count) i = 0;
        if (std::strcmp(types_[i]->category, name) == 0) {
          index = i;
          nextCategory_ = i + 1;
          break;
        }
      }
      if (index == count) {
        settle(std::string(name) + ": unknown category");
        return;
      }
      // A category named twice would leave which of its values count to the order of
      // application: refused.
      if (isTouched_[index] != 0) {
        settle(std::string(name) + ": category named twice");
        return;
      }
      category_ = index;
      std::memcpy(scratch_[index], records_[index], types_[index]->layout.size);
      isTouched_[index] = 1;
      return;
    }
    if (state_ != State::Applying || (level.kind != Kind::Record && level.kind != Kind::Category)) {
      return;
    }
    level.field = findFieldNamed(*level.layout, name, level.next);
    if (level.field == nullptr) {
      fieldError_.fail("unknown field");
      fieldError_.enclose(name);
      refuseFrom(levels_.size() - 2);
    } else if (!markNamed(level, level.field)) {
      fieldError_.fail("field named twice");
      refuseFrom(levels_.size() - 1);
    }
  }

  void scalar(TJsonValue *value) {
    uint32_t type = TJSON_TYPE_ABSENT;
    TJsonValue_type(value, &type);
    apply(type, [this, value](const Field &field, unsigned char *at) {
      return applyElement(field, value, at, fieldError_);
    });
  }

  // A scalar of type arrives; applyTo(field, at) applies it to an innermost element.
  template <typename ApplyTo>
  void apply(uint32_t type, ApplyTo &&applyTo) {
    const Kind kind = levels_.back().kind;
    if (kind == Kind::Document) {
      if (state_ != State::Applying) return;
      if (levels_.size() == 1) {
        settle(std::string("a settings document is a JSON object, found ") + jsonTypeName(type));
      } else {
        fieldError_.fail(std::string("expected an object, found ") + jsonTypeName(type));
        settle(fieldError_.text(types_[category_]->category));
      }
      return;
    }
    const Slot slot = begin();
    if (slot.field == nullptr) return;
    uint32_t result = TCOMMON_SUCCESS;
    if (slot.dimension < slot.dimensions) {
      result = refuseNotArray(fieldError_, type);
    } else {
      result = applyTo(*slot.field, slot.at);
    }
    if (result == TCOMMON_NO_MEMORY) throw std::bad_alloc();
    if (result != TCOMMON_SUCCESS) refuseFrom(levels_.size() - 1);
  }

  std::span<const RecordType *const> types_;
  void *const *records_;
  void *const *scratch_;
  std::vector<uint8_t> &isTouched_;
  std::vector<Level> levels_{Level{Kind::Document}};
  // One bit per field of every open Category and Record level, set once it is named.
  std::vector<uint64_t> named_;
  size_t category_ = 0;      // the category whose member is being read
  size_t nextCategory_ = 0;  // documents list the categories in order: search on from here
  State state_ = State::Applying;
  FieldError fieldError_;
  std::string settled_;
  bool isOutOfMemory_ = false;
  TJsonValue *emptyArray_ = nullptr;
  TJsonValue *emptyObject_ = nullptr;

 public:
  static void onStartObject(void *context) {
    guarded(context, [](DocumentApplier &applier) { applier.open(true); });
  }
  static void onStartArray(void *context) {
    guarded(context, [](DocumentApplier &applier) { applier.open(false); });
  }
  static void onEnd(void *context) {
    guarded(context, [](DocumentApplier &applier) { applier.close(); });
  }
  static void onKey(void *context, const char *name, uint64_t) {
    guarded(context, [name](DocumentApplier &applier) { applier.key(name); });
  }
  static void onScalar(void *context, TJsonValue *value) {
    guarded(context, [value](DocumentApplier &applier) { applier.scalar(value); });
  }
  // The elements of the innermost array that the next numbers fill, while it has room and
  // nothing was refused: where most numbers of a document go. They are stored here, one
  // check of their kind each, and the array's count catches up when any other event comes
  // (guarded ends the run).
  struct Run {
    unsigned char *at = nullptr;  // the next element
    uint32_t left = 0;            // elements still to fill
    uint32_t taken = 0;           // stored since the run began
    size_t stride = 0;
    tdatabase::Kind kind = tdatabase::Kind::Bool;
  };
  Run run_;

  void beginRun() {
    run_.left = 0;
    if (state_ != State::Applying) return;
    const Level &level = levels_.back();
    const uint32_t shape = level.kind == Kind::Array ? level.field->shape[level.dimension] : 0;
    if (level.dimension + 1 != level.dimensions || level.count >= shape) return;
    run_.at = level.at + level.count * level.stride;
    run_.left = shape - level.count;
    run_.stride = level.stride;
    run_.kind = level.field->kind;
  }
  void endRun() {
    if (run_.taken != 0) levels_.back().count += run_.taken;
    run_.taken = 0;
    run_.left = 0;
  }

  // Numbers, most of a document, come as they were read, without a node; an element of an
  // array that its field takes as it is is stored at once, anything else goes through
  // apply as a scalar would.
  static void onInteger(void *context, int64_t value) {
    onElement(context, value, storeIntegerIfAccepted, TJSON_TYPE_INTEGER, applyInteger);
  }
  // A run of integer elements: stored in one loop over the field's kind while they fit,
  // the rest one by one as onInteger takes them.
  static void onIntegers(void *context, const int64_t *values, uint64_t count) {
    DocumentApplier &self = of(context);
    const uint64_t stored =
        tdatabase::withNumberKind(self.run_.kind, uint64_t{0}, [&self, values, count](auto kind) {
          return self.storeRun<decltype(kind)::value>(values, count);
        });
    for (uint64_t i = stored; i < count; ++i) onInteger(context, values[i]);
  }
  // Stores values into the run while it has room and each fits kind; how many it stored.
  template <tdatabase::Kind kind>
  uint64_t storeRun(const int64_t *values, uint64_t count) {
    const uint64_t room = count < run_.left ? count : run_.left;
    unsigned char *at = run_.at;
    uint64_t stored = 0;
    while (stored < room && storeIntegerIfAccepted(kind, values[stored], at)) {
      at += run_.stride;
      ++stored;
    }
    run_.at = at;
    run_.left -= static_cast<uint32_t>(stored);
    run_.taken += static_cast<uint32_t>(stored);
    return stored;
  }
  static void onReal(void *context, double value) {
    onElement(context, value, storeDoubleIfAccepted, TJSON_TYPE_FLOAT, applyDouble);
  }
  // A number stored straight into the run when its field takes it as it is, else applied.
  template <typename Number>
  static void onElement(void *context, Number value,
                        bool (*storeIfAccepted)(tdatabase::Kind, Number, unsigned char *),
                        uint8_t type,
                        uint32_t (*applyNumber)(const Field &, Number, unsigned char *,
                                                FieldError &)) {
    Run &run = of(context).run_;
    if (run.left != 0 && storeIfAccepted(run.kind, value, run.at)) {
      run.at += run.stride;
      --run.left;
      ++run.taken;
      return;
    }
    onNumber(context, value, type, applyNumber);
  }
  template <typename Number>
  static void onNumber(void *context, Number value, uint8_t type,
                       uint32_t (*applyNumber)(const Field &, Number, unsigned char *,
                                               FieldError &)) {
    guarded(context, [value, type, applyNumber](DocumentApplier &applier) {
      applier.apply(type, [&applier, value, applyNumber](const Field &field, unsigned char *at) {
        return applyNumber(field, value, at, applier.fieldError_);
      });
      applier.beginRun();
    });
  }
  static const TJsonNumberEvents kNumberEvents;
};

const TJsonNumberEvents DocumentApplier::kNumberEvents = {
    DocumentApplier::onInteger, DocumentApplier::onReal, DocumentApplier::onIntegers};

const TJsonEvents DocumentApplier::kEvents = {
    DocumentApplier::onStartObject, DocumentApplier::onEnd, DocumentApplier::onStartArray,
    DocumentApplier::onEnd,         DocumentApplier::onKey, DocumentApplier::onScalar,
};

}  // namespace

uint32_t writeSettings(std::span<const RecordType *const> types, const void *const *records,
                       TJsonWriter *writer, const char **text, uint64_t *length) {
  uint32_t result = TJsonWriter_begin(writer);
  if (result == TCOMMON_SUCCESS) result = TJsonWriter_startObject(writer);
  for (size_t i = 0; i < types.size() && result == TCOMMON_SUCCESS; ++i) {
    const char *category = types[i]->category;
    result = TJsonWriter_key(writer, category, std::strlen(category));
    if (result == TCOMMON_SUCCESS) result = TJsonWriter_startObject(writer);
    if (result == TCOMMON_SUCCESS) result = printFields(types[i]->layout, records[i], writer);
    if (result == TCOMMON_SUCCESS) result = TJsonWriter_endObject(writer);
  }
  if (result == TCOMMON_SUCCESS) result = TJsonWriter_endObject(writer);
  if (result == TCOMMON_SUCCESS) result = TJsonWriter_end(writer, text);
  if (result == TCOMMON_SUCCESS) result = TJsonWriter_length(writer, length);
  return result;
}

uint32_t parseSettings(std::span<const RecordType *const> types, void *const *records,
                       void *const *scratch, const char *begin, const char *end,
                       std::string &error) {
  TJsonReader *opened = nullptr;
  uint32_t result = TJsonReader_open(&opened);
  if (result != TCOMMON_SUCCESS) return result;
  const Reader reader(opened);

  std::vector<uint8_t> isTouched(types.size(), 0);
  DocumentApplier applier(types, records, scratch, isTouched);
  if (!applier.prepare()) return TCOMMON_NO_MEMORY;
  result = TJsonReader_walkNumbers(reader.get(), begin, end, &DocumentApplier::kEvents,
                                   &DocumentApplier::kNumberEvents, &applier);
  // Invalid JSON anywhere outranks a refused value.
  if (result == TCOMMON_PARSE_ERROR) {
    uint64_t offset = 0;
    const char *problem = "unknown problem";
    TJsonReader_error(reader.get(), &offset, &problem);
    error = "invalid JSON at byte " + std::to_string(offset) + ": " + problem;
    return kRefused;
  }
  if (result != TCOMMON_SUCCESS) return result;
  if (applier.isOutOfMemory()) return TCOMMON_NO_MEMORY;
  if (applier.isRefused()) {
    error = applier.refusal();
    return kRefused;
  }

  for (size_t i = 0; i < types.size(); ++i) {
    if (isTouched[i] != 0) copyFields(types[i]->layout, records[i], scratch[i]);
  }
  return TCOMMON_SUCCESS;
}

}  // namespace tdatabase
