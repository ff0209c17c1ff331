#pragma once

#include <opax/core/data/compound_value.h>
#include <opax/core/message/base_message.h>

#include <boost/logic/tribool.hpp>

#include <cstdint>
#include <list>
#include <string>

namespace Opax {
namespace Data {

// The check of a native structure: union rules, nested required structures and, under the
// strict policy, fields this side does not know. Each generated structure specialises isValid;
// the specialisations share the machinery below, so a check is a table plus one call.
class Validator {
 public:
  enum Policy : int {
    LENIENT = 0,
    // A structure received from a peer: set fields it carries that this side does not declare
    // are refused.
    STRICT = 1,
  };

  template <class T>
  static bool isValid(T const& obj, Policy policy, std::list<BaseMessage>& messages);
};

// The union rules of one structure, as data.
namespace UnionCheck {

// One field that belongs to a union case.
struct Case {
  char const* member;  // the native member name, for messages ("samlToken")
  char const* wire;    // the wire name, for definitions ("saml_token")
  bool (*isSet)(void const* object);
  uint64_t activeMask;  // bit i: active for the tag's value number i
  bool required;        // must be set while active
};

// One tag and its case fields, in declaration order.
struct Union {
  char const* tagWire;    // "type"
  char const* tagMember;  // "type"
  // The tag's value number, or -1 when an optional tag is unset.
  int (*tagValue)(void const* object);
  int unknownIndex;              // the tag enumeration's `_UNKNOWN` number
  char const* const* tagValues;  // the tag enumeration's text table
  Case const* cases;
  std::size_t caseCount;
};

// Runs the union rules of `unions` on `object` in order; the first failure appends its message
// and returns false. Per union: the case fields from the last declared to the second, then the
// tag itself, then the first declared field; each case field fails when it is required, active
// and unset, or inactive and set. `structure` is the canonical name for the messages.
bool Check(void const* object, Union const* unions, std::size_t count, char const* structure,
           std::list<BaseMessage>& messages);

// The definition-side predicate of a case field: true when the tag's text activates a required
// field, indeterminate when it activates an optional one, false otherwise.
boost::logic::tribool Predicate(Union const& tag, Case const& field, std::string_view tagText);

}  // namespace UnionCheck

// The strict policy's first step: the set optional fields among the retained unknown ones, each
// reported with "opax.data.compound.field.extra" (qualified class name, field name) in name order,
// the first DataDefinition::kMaxMessages of them. Returns true when none was found.
bool CheckUnknownFields(StructValue const& unknown, char const* qualifiedName,
                        std::list<BaseMessage>& messages);

// Runs structure checks without recursion: each step checks one object and may queue the
// checks of its nested structures, which run in field order until one fails.
class ValidationRun {
 public:
  using Step = bool (*)(void const* object, Validator::Policy, ValidationRun&, std::list<BaseMessage>&);

  static bool Run(void const* object, Step step, Validator::Policy policy, std::list<BaseMessage>& messages);

  // Queues a nested check; the run takes the last queued first.
  void Queue(void const* object, Step step) { pending_.push_back({object, step}); }
  std::size_t pendingCount() const { return pending_.size(); }

  struct Item {
    void const* object;
    Step step;
  };
  // The pending checks, borrowed per thread from one run to the next (ReusedContainer).
  struct Items : std::vector<Item> {
    void trim();
  };

 private:
  explicit ValidationRun(Items& pending) : pending_(pending) {}
  Items& pending_;
};

// The validation step of structure T, for the checks of structures that contain a T; generated
// code specialises it next to Validator::isValid (static ValidationRun::Step Get()).
template <class T>
struct ValidatorStep;

}  // namespace Data
}  // namespace Opax
