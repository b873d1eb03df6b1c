#include "tests/support/trees.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iomanip>
#include <sstream>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "vesk/path.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

Tree leaf(vk_type type, Tree::Payload payload) {
  return {.type = type, .payload = std::move(payload)};
}

std::vector<Tree> trees_of(std::initializer_list<Tree::Named> named) {
  std::vector<Tree> trees;
  for (const auto& [name, tree] : named) trees.emplace_back(tree).name = name;
  return trees;
}

bool is_container(vk_type type) { return type == VK_TYPE_OBJECT || type == VK_TYPE_ARRAY; }

bool is_binary(vk_type type) { return type == VK_TYPE_BASE64 || type == VK_TYPE_HEXBINARY; }

std::vector<const vk_value*> listed(const vk_value* first) {
  std::vector<const vk_value*> nodes;
  for (; first != nullptr; first = vk_item_next(first)) nodes.push_back(first);
  return nodes;
}

std::vector<const vk_value*> items_of(const vk_value& value) {
  if (!is_container(value.type)) return {};
  return listed(value.payload.items.first);
}

std::vector<const vk_value*> attributes_of(const vk_value& value) {
  return listed(value.attributes);
}

// Printing

void print_bytes(std::ostream& out, const std::string& bytes) {
  out << '"';
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= ' ' && byte <= '~') {
      out << character;
    } else {
      out << "\\x" << std::hex << std::setw(2) << std::setfill('0') << int{byte} << std::dec;
    }
  }
  out << '"';
}

struct PayloadPrinter {
  std::ostream& out;

  void operator()(std::monostate) const {}
  void operator()(uint8_t flag) const { out << ' ' << int{flag}; }
  void operator()(const std::string& bytes) const { print_bytes(out << ' ', bytes); }
  void operator()(const Moment& moment) const {
    out << ' ' << moment.time << '/' << moment.kind << '/' << moment.usec;
  }
  template <typename Number>
  void operator()(Number number) const {
    out << ' ' << number;
  }
};

void print_list(std::ostream& out, const std::vector<Tree>& trees, bool named) {
  const char* separator = "";
  for (const Tree& tree : trees) {
    out << separator;
    if (named) print_bytes(out, tree.name);
    if (named) out << ": ";
    out << tree;
    separator = ", ";
  }
}

// Planting

template <typename Kind>
const Kind& held(const Tree& tree) {
  return std::get<Kind>(tree.payload);
}

void plant_binary(vk_value& value, const Tree& tree) {
  std::string bytes = held<std::string>(tree);
  vk_binary binary;
  vk_binary_init(&binary, reinterpret_cast<uint8_t*>(bytes.data()),
                 static_cast<uint32_t>(bytes.size()));
  const auto set = tree.type == VK_TYPE_BASE64 ? vk_value_set_base64 : vk_value_set_hex;
  EXPECT_EQ(set(&value, &binary), VK_EOK);
}

void plant(vk_value& value, const Tree& tree);

void plant_object(vk_value& value, const Tree& tree) {
  vk_object_init_with_policy(&value, tree.policy);
  for (const Tree& member : tree.items) {
    plant(*vk_object_init_item(&value, member.name.c_str()), member);
  }
}

void plant_array(vk_value& value, const Tree& tree) {
  vk_array_init(&value);
  for (const Tree& element : tree.items) plant(*vk_array_add_item(&value), element);
}

void plant_datetime(vk_value& value, const Moment& moment) {
  const vk_datetime datetime = {moment.time, moment.kind, moment.usec};
  vk_value_set_datetime(&value, &datetime);
}

void plant_payload(vk_value& value, const Tree& tree) {
  switch (tree.type) {
    case VK_TYPE_OBJECT:
      return plant_object(value, tree);
    case VK_TYPE_ARRAY:
      return plant_array(value, tree);
    case VK_TYPE_BASE64:
    case VK_TYPE_HEXBINARY:
      return plant_binary(value, tree);
    case VK_TYPE_BOOLEAN:
      return void(vk_value_set_bool(&value, held<uint8_t>(tree)));
    case VK_TYPE_DATETIME:
      return plant_datetime(value, held<Moment>(tree));
    case VK_TYPE_INT:
      return void(vk_value_set_int(&value, held<int32_t>(tree)));
    case VK_TYPE_LONG:
      return void(vk_value_set_long(&value, held<int64_t>(tree)));
    case VK_TYPE_STRING:
      return void(vk_value_set_string(&value, held<std::string>(tree).c_str()));
    case VK_TYPE_UNSIGNEDINT:
      return void(vk_value_set_uint(&value, held<uint32_t>(tree)));
    case VK_TYPE_UNSIGNEDLONG:
      return void(vk_value_set_ulong(&value, held<uint64_t>(tree)));
    default:
      value.type = tree.type;
  }
}

void plant(vk_value& value, const Tree& tree) {
  plant_payload(value, tree);
  for (const Tree& attribute : tree.attributes) {
    plant(*vk_value_add_attribute(&value, attribute.name.c_str()), attribute);
  }
}

// Reading

std::string bytes_of(const vk_binary& binary) {
  return {reinterpret_cast<const char*>(binary.data), binary.len};
}

Tree::Payload payload_of(const vk_value& value) {
  const vk_value_payload& payload = value.payload;
  switch (value.type) {
    case VK_TYPE_BASE64:
    case VK_TYPE_HEXBINARY:
      return bytes_of(payload.binary);
    case VK_TYPE_BOOLEAN:
      return payload.flag;
    case VK_TYPE_DATETIME:
      return Moment{payload.datetime.time, payload.datetime.kind, payload.datetime.usec};
    case VK_TYPE_INT:
      return payload.s32;
    case VK_TYPE_LONG:
      return int64_t{payload.s64};
    case VK_TYPE_STRING:
      return std::string(payload.text);
    case VK_TYPE_UNSIGNEDINT:
      return payload.u32;
    case VK_TYPE_UNSIGNEDLONG:
      return uint64_t{payload.u64};
    default:
      return {};
  }
}

Tree read(const vk_value& value);

std::vector<Tree> read_all(const std::vector<const vk_value*>& nodes) {
  std::vector<Tree> trees;
  for (const vk_value* node : nodes) {
    trees.push_back(read(*node));
    if (node->id != nullptr) trees.back().name = node->id;
  }
  return trees;
}

Tree read(const vk_value& value) {
  return {.type = value.type,
          .policy = value.type == VK_TYPE_OBJECT ? value.policy : 0,
          .payload = payload_of(value),
          .items = read_all(items_of(value)),
          .attributes = read_all(attributes_of(value))};
}

// Checking

bool tail_is_right(vk_value* const* head, vk_value** tail) {
  while (*head != nullptr) head = &(*head)->next;
  return tail == head;
}

std::string defect_of_order(const vk_value& object) {
  uint32_t last = 0;
  for (const vk_value* member : items_of(object)) {
    if (member->index != vk_path_str_to_index(member->id)) return "a wrong index";
    if (member->index < last) return "members that do not ascend";
    last = member->index;
  }
  return "";
}

std::string defect_of_items(const vk_value& value) {
  if (!is_container(value.type)) return "";
  const vk_value_items& items = value.payload.items;
  if (!tail_is_right(&items.first, items.tail)) return "a wrong tail";
  if (items.count != items_of(value).size()) return "a wrong count";
  const bool named = value.type == VK_TYPE_OBJECT;
  for (const vk_value* item : items_of(value)) {
    if ((item->id != nullptr) != named) return "a member without a name, or an element with one";
  }
  return named && value.policy == VK_POLICY_INDEXED ? defect_of_order(value) : "";
}

std::string defect_of_node(const vk_value& value) {
  if (value.magic != VK_MAGIC_VALUE) return "a wrong magic";
  if (!tail_is_right(&value.attributes, value.attributes_tail)) return "a wrong attributes' tail";
  for (const vk_value* attribute : attributes_of(value)) {
    if (attribute->id == nullptr) return "an attribute without a name";
  }
  if (is_binary(value.type) && value.payload.binary.magic != VK_MAGIC_BINARY) {
    return "a wrong binary's magic";
  }
  return defect_of_items(value);
}

void add_heaps(std::set<const vk_allocator*>& heaps, const vk_value& value) {
  heaps.insert({value.heap, owner_of(const_cast<vk_value*>(&value))});
  if (value.id != nullptr) heaps.insert(owner_of(value.id));
  if (value.type == VK_TYPE_STRING) heaps.insert(owner_of(value.payload.text));
  if (is_binary(value.type)) heaps.insert(owner_of(value.payload.binary.data));
  for (const vk_value* item : items_of(value)) add_heaps(heaps, *item);
  for (const vk_value* attribute : attributes_of(value)) add_heaps(heaps, *attribute);
}

}  // namespace

Tree Tree::with(std::initializer_list<Named> named) const {
  Tree tree = *this;
  tree.attributes = trees_of(named);
  return tree;
}

std::ostream& operator<<(std::ostream& out, const Tree& tree) {
  out << vk_type_to_string(tree.type);
  if (tree.type == VK_TYPE_OBJECT) out << '/' << tree.policy;
  std::visit(PayloadPrinter{out}, tree.payload);
  if (is_container(tree.type)) {
    const bool named = tree.type == VK_TYPE_OBJECT;
    print_list(out << (named ? " {" : " ["), tree.items, named);
    out << (named ? '}' : ']');
  }
  if (!tree.attributes.empty()) {
    print_list(out << " with <", tree.attributes, true);
    out << '>';
  }
  return out;
}

Tree any() { return {}; }
Tree array(std::vector<Tree> elements) {
  return {.type = VK_TYPE_ARRAY, .items = std::move(elements)};
}
Tree base64(const std::string& bytes) { return leaf(VK_TYPE_BASE64, bytes); }
Tree boolean(uint8_t flag) { return leaf(VK_TYPE_BOOLEAN, flag); }
Tree date(const vk_datetime& datetime) {
  return leaf(VK_TYPE_DATETIME, Moment{datetime.time, datetime.kind, datetime.usec});
}
Tree hex(const std::string& bytes) { return leaf(VK_TYPE_HEXBINARY, bytes); }
Tree integer(int32_t number) { return leaf(VK_TYPE_INT, number); }
Tree long_integer(int64_t number) { return leaf(VK_TYPE_LONG, number); }
Tree text(const std::string& characters) { return leaf(VK_TYPE_STRING, characters); }
Tree unsigned_integer(uint32_t number) { return leaf(VK_TYPE_UNSIGNEDINT, number); }
Tree unsigned_long(uint64_t number) { return leaf(VK_TYPE_UNSIGNEDLONG, number); }

Tree object(std::initializer_list<Tree::Named> members, uint32_t policy) {
  return {.type = VK_TYPE_OBJECT, .policy = policy, .items = trees_of(members)};
}

Tree of_no_type(vk_type type) { return {.type = type}; }

std::vector<Tree> one_of_each_type() {
  return {any(),
          object({{"A", integer(1)}, {"B", object({{"C", text("c")}})}}),
          array({text("a"), array({integer(2)})}),
          base64("bytes"),
          boolean(1),
          date({1234567890, VK_DATETIME_ABSOLUTE, 500000}),
          hex("bytes"),
          integer(-5),
          long_integer(-5'000'000'000),
          text("five"),
          unsigned_integer(4'000'000'000),
          unsigned_long(18'000'000'000'000'000'000U)};
}

std::vector<Tree> one_of_each_leaf() {
  std::vector<Tree> leaves = one_of_each_type();
  leaves.erase(leaves.begin(), leaves.begin() + VK_TYPE_BASE64);
  return leaves;
}

Tree without_attributes(Tree tree) {
  tree.attributes.clear();
  for (Tree& item : tree.items) item = without_attributes(std::move(item));
  return tree;
}

Value planted(const Tree& tree, vk_allocator* heap) {
  Value value(vk_value_new(heap));
  plant(*value, tree);
  return value;
}

Tree tree_of(const vk_value& value) {
  EXPECT_EQ(defect_of(value), "");
  return read(value);
}

std::string defect_of(const vk_value& value) {
  std::string defect = defect_of_node(value);
  for (const auto& nodes : {items_of(value), attributes_of(value)}) {
    for (const vk_value* node : nodes) {
      if (defect.empty()) defect = defect_of(*node);
    }
  }
  return defect;
}

std::set<const vk_allocator*> heaps_of(const vk_value& value) {
  std::set<const vk_allocator*> heaps;
  add_heaps(heaps, value);
  return heaps;
}

void rename_member(vk_value& object, const char* name, const char* other) {
  EXPECT_EQ(vk_value_set_id(vk_object_find_item(&object, name), other), VK_EOK);
}

void expect_after_each_refusal(const Tree& before, const std::vector<Tree>& after,
                               const std::function<vk_error(vk_value*)>& call) {
  std::size_t refused = 0;
  for_every_allocation_fault([&](AllocationFault& fault) {
    const LogSpy spy;
    const Value value = planted(before);
    const AllocationLog log;
    const vk_error error = fault.during([&] { return call(value.get()); });
    const std::size_t asked = log.count();
    if (!fault.struck()) {
      EXPECT_EQ(error, VK_EOK);
      EXPECT_EQ(asked, after.size()) << "the number of allocations";
      refused = 0;
      return;
    }
    EXPECT_EQ(error, VK_ENOMEM);
    EXPECT_EQ(asked, refused + 1) << "the call went on";
    ASSERT_LT(refused, after.size());
    EXPECT_EQ(tree_of(*value), after[refused]);
    ASSERT_FALSE(spy.lines().empty());
    EXPECT_EQ(spy.lines().back(), allocation_failure(log.size_of(refused) - kOwnerWord, "default"));
    ++refused;
  });
}

}  // namespace vesk::test
