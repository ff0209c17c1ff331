// The whole-tree operations of DataValue: copy, equality and printing. Each walks the tree with
// an explicit work list, never with recursion, so that depth costs heap and not stack.

#include <opax/core/data/compound_value.h>
#include <opax/core/data/data_value.h>
#include <opax/core/data/list_value.h>
#include <opax/core/data/optional_value.h>

#include <cstdio>
#include <utility>
#include <vector>

namespace Opax {
namespace Data {
namespace {

// A shared pointer that does not own: lets the root of a walk travel like the nodes below it.
std::shared_ptr<DataValue const> NonOwning(DataValue const& value) {
  return std::shared_ptr<DataValue const>(std::shared_ptr<DataValue const>(), &value);
}

std::shared_ptr<CompoundValue> EmptyCompoundLike(CompoundValue const& source) {
  switch (source.kind()) {
    case Kind::Error:
      return ErrorValue::GetInstance(source.heldName());
    case Kind::Map:
      return MapValue::GetInstance();
    default:
      return StructValue::GetInstance(source.heldName());
  }
}

std::shared_ptr<DataValue> CloneLeaf(DataValue const& leaf) {
  switch (leaf.kind()) {
    case Kind::Boolean:
      return std::make_shared<BooleanValue>(internal::StoredOf<bool>(leaf));
    case Kind::Integer:
      return std::make_shared<IntegerValue>(internal::StoredOf<int64_t>(leaf));
    case Kind::Double:
      return std::make_shared<DoubleValue>(internal::StoredOf<double>(leaf));
    case Kind::String:
      return StringValue::GetInstance(internal::StoredOf<std::string>(leaf));
    case Kind::Secret:
      return std::make_shared<SecretValue>(internal::StoredOf<Opax::SecretString>(leaf));
    case Kind::Binary:
      return std::make_shared<BinaryValue>(internal::StoredOf<std::vector<unsigned char>>(leaf));
    case Kind::DateTime:
      return std::make_shared<DateTimeValue>(internal::StoredOf<Opax::DateTime>(leaf));
    default:
      return std::make_shared<VoidValue>();
  }
}

bool IsCompound(Kind kind) { return kind == Kind::Structure || kind == Kind::Error || kind == Kind::Map; }

bool LeavesEqual(DataValue const& a, DataValue const& b) {
  switch (a.kind()) {
    case Kind::Boolean:
      return internal::StoredOf<bool>(a) == internal::StoredOf<bool>(b);
    case Kind::Integer:
      return internal::StoredOf<int64_t>(a) == internal::StoredOf<int64_t>(b);
    case Kind::Double:
      return internal::StoredOf<double>(a) == internal::StoredOf<double>(b);
    case Kind::String:
      return internal::StoredOf<std::string>(a) == internal::StoredOf<std::string>(b);
    case Kind::Secret:
      return internal::StoredOf<Opax::SecretString>(a) == internal::StoredOf<Opax::SecretString>(b);
    case Kind::Binary:
      return internal::StoredOf<std::vector<unsigned char>>(a) ==
             internal::StoredOf<std::vector<unsigned char>>(b);
    case Kind::DateTime:
      return internal::StoredOf<Opax::DateTime>(a) == internal::StoredOf<Opax::DateTime>(b);
    default:
      return true;  // void
  }
}

void AppendQuoted(std::string& out, std::string_view text) {
  out += '"';
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x",
                        static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

void AppendLeaf(std::string& out, DataValue const& leaf) {
  switch (leaf.kind()) {
    case Kind::Boolean:
      out += internal::StoredOf<bool>(leaf) ? "true" : "false";
      break;
    case Kind::Integer:
      out += std::to_string(internal::StoredOf<int64_t>(leaf));
      break;
    case Kind::Double: {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, "%.17g", internal::StoredOf<double>(leaf));
      out += buffer;
      break;
    }
    case Kind::String:
      AppendQuoted(out, internal::StoredOf<std::string>(leaf));
      break;
    case Kind::Secret:
      out += Opax::SecretString::kMask;
      break;
    case Kind::Binary:
      out += "<" + std::to_string(internal::StoredOf<std::vector<unsigned char>>(leaf).size()) + " bytes>";
      break;
    case Kind::DateTime:
      out += internal::StoredOf<Opax::DateTime>(leaf).ToString();
      break;
    default:
      out += "void";
      break;
  }
}

}  // namespace

std::shared_ptr<DataValue> DataValue::Copy() const {
  struct Work {
    std::shared_ptr<DataValue const> const* source;
    std::shared_ptr<DataValue const>* destination;
  };
  auto const self = NonOwning(*this);
  if (!IsCompound(kind()) && kind() != Kind::Optional && kind() != Kind::List) return CloneLeaf(*this);

  std::shared_ptr<DataValue const> root;
  std::vector<Work> work{{&self, &root}};
  while (!work.empty()) {
    Work const item = work.back();
    work.pop_back();
    DataValue const& source = **item.source;
    if (IsCompound(source.kind())) {
      auto const& compound = static_cast<CompoundValue const&>(source);
      std::shared_ptr<CompoundValue> copy = EmptyCompoundLike(compound);
      copy->fields().CopyNamesFrom(compound.fields());
      auto target = copy->fields().inOrder().begin();
      for (FieldMap::Field const& field : compound.fields().inOrder()) {
        if (field.value()) work.push_back({&field.value(), &target->value()});
        ++target;
      }
      *item.destination = std::move(copy);
    } else if (source.kind() == Kind::Optional) {
      auto const& optional = static_cast<OptionalValue const&>(source);
      auto copy = OptionalValue::GetInstance();
      if (optional.isSet()) work.push_back({&optional.value(), copy->slot()});
      *item.destination = std::move(copy);
    } else if (source.kind() == Kind::List) {
      auto const& list = static_cast<ListValue const&>(source);
      std::shared_ptr<ListValue> copy;
      if (list.elementKind() == Kind::String && list.isTyped()) {
        auto typed = ListValueString::GetInstance();
        typed->Store(static_cast<ListValueString const&>(list).items());
        copy = std::move(typed);
      } else if (list.elementKind() == Kind::Integer && list.isTyped()) {
        auto typed = ListValueLong::GetInstance();
        typed->Store(static_cast<ListValueLong const&>(list).items());
        copy = std::move(typed);
      } else {
        copy = std::make_shared<ListValue>(list.elementKind());
        copy->values().resize(list.values().size());
        for (std::size_t i = 0; i < list.values().size(); ++i) {
          if (list.values()[i]) work.push_back({&list.values()[i], &copy->values()[i]});
        }
      }
      *item.destination = std::move(copy);
    } else {
      *item.destination = *item.source;  // leaves are immutable: share them
    }
  }
  return std::const_pointer_cast<DataValue>(root);
}

bool DataValue::Equal(DataValue const& a, DataValue const& b) {
  std::vector<std::pair<std::shared_ptr<DataValue const>, std::shared_ptr<DataValue const>>> work;
  work.emplace_back(NonOwning(a), NonOwning(b));
  while (!work.empty()) {
    auto const [left, right] = std::move(work.back());
    work.pop_back();
    if (!left || !right) {
      if (left != right) return false;
      continue;
    }
    if (left == right) continue;
    if (left->kind() != right->kind()) return false;
    Kind const kind = left->kind();
    if (IsCompound(kind)) {
      auto const& l = static_cast<CompoundValue const&>(*left);
      auto const& r = static_cast<CompoundValue const&>(*right);
      if (l.name() != r.name() || l.fields().size() != r.fields().size()) return false;
      auto li = l.fields().begin();
      auto ri = r.fields().begin();
      for (; li != l.fields().end(); ++li, ++ri) {
        if (li->name() != ri->name()) return false;
        work.emplace_back(li->value(), ri->value());
      }
    } else if (kind == Kind::Optional) {
      work.emplace_back(static_cast<OptionalValue const&>(*left).value(),
                        static_cast<OptionalValue const&>(*right).value());
    } else if (kind == Kind::List) {
      auto const& l = static_cast<ListValue const&>(*left);
      auto const& r = static_cast<ListValue const&>(*right);
      if (l.size() != r.size()) return false;
      for (std::size_t i = 0; i < l.size(); ++i) work.emplace_back(l.element(i), r.element(i));
    } else if (!LeavesEqual(*left, *right)) {
      return false;
    }
  }
  return true;
}

std::string DataValue::ToString() const {
  // Each work item prints either a literal or a value; compounds push their parts in reverse.
  struct Work {
    std::shared_ptr<DataValue const> value;
    std::string literal;
  };
  std::string out;
  std::vector<Work> work;
  work.push_back({NonOwning(*this), {}});
  while (!work.empty()) {
    Work item = std::move(work.back());
    work.pop_back();
    if (!item.value) {
      out += item.literal.empty() ? "null" : item.literal;
      continue;
    }
    DataValue const& value = *item.value;
    if (IsCompound(value.kind())) {
      auto const& compound = static_cast<CompoundValue const&>(value);
      std::vector<FieldMap::Field const*> fields;
      for (FieldMap::Field const& field : compound.fields().inOrder()) fields.push_back(&field);
      work.push_back({nullptr, "}"});
      for (std::size_t i = fields.size(); i-- > 0;) {
        work.push_back({fields[i]->value(), {}});
        if (!fields[i]->value()) work.back().literal = "null";
        std::string key;
        AppendQuoted(key, fields[i]->name());
        work.push_back({nullptr, (i == 0 ? "" : ", ") + key + ": "});
      }
      std::string open(compound.name());
      if (value.kind() == Kind::Error) open = "error " + open;
      work.push_back({nullptr, open + (open.empty() ? "{" : " {")});
    } else if (value.kind() == Kind::Optional) {
      auto const& optional = static_cast<OptionalValue const&>(value);
      if (!optional.isSet()) {
        out += "unset";
      } else {
        work.push_back({nullptr, ")"});
        work.push_back({optional.value(), {}});
        work.push_back({nullptr, "optional("});
      }
    } else if (value.kind() == Kind::List) {
      auto const& list = static_cast<ListValue const&>(value);
      work.push_back({nullptr, "]"});
      for (std::size_t i = list.size(); i-- > 0;) {
        work.push_back({list.element(i), "null"});
        if (i > 0) work.push_back({nullptr, ", "});
      }
      work.push_back({nullptr, "["});
    } else {
      AppendLeaf(out, value);
    }
  }
  return out;
}

}  // namespace Data
}  // namespace Opax
