#include <opax/core/adapter/native_to_value_adapter.h>

#include <opax/core/base/reused_container.h>

namespace Opax {
namespace Data {

EnumTexts EnumTextValues(char const* const* values, int count) {
  EnumTexts texts;
  for (int i = 0; i <= count; ++i) {
    std::shared_ptr<DataValue const> text =
        internal::KeepForever<DataValue>(StringValue::GetInstance(values[i]));
    texts.set.push_back(internal::MakeImmortal<OptionalValue>(text));
    texts.bare.push_back(std::move(text));
  }
  return texts;
}

bool NativeToValueAdapter::Adapt(NativeConstPtr source, AdaptFunction root, Destination destination,
                                 std::list<BaseMessage>& messages, L10n::RequestLocalizer const&) {
  std::size_t const before = messages.size();
  ReusedContainer<Queue> reused;
  Queue& queue = reused.get();
  // The values of one conversion are made side by side; the size of the first chunk is what
  // the last conversion of the same root type used.
  void const* const rootKey = reinterpret_cast<void const*>(root);
  internal::ValueArena arena(internal::ValueArena::FirstChunkFor(rootKey));
  queue.arena(&arena);
  queue.push_back(Entry{source, root, destination});
  while (!queue.empty()) {
    Entry const entry = queue.pop_front();
    entry.adapt(entry.source, entry.destination, queue, messages);
    if (messages.size() != before) {
      queue.clear();
      queue.arena(nullptr);
      return false;
    }
  }
  queue.arena(nullptr);
  arena.RememberFor(rootKey);
  return true;
}

void N2V::AdaptDynamicStructure(NativeConstPtr const& source, Adapter::Destination const& destination,
                                Adapter::Queue&, std::list<BaseMessage>&) {
  *destination = static_cast<DynamicStructure const*>(source)->value();
}

void N2V::AdaptDynamicError(NativeConstPtr const& source, Adapter::Destination const& destination,
                            Adapter::Queue&, std::list<BaseMessage>&) {
  *destination = static_cast<DynamicError const*>(source)->value();
}

void N2V::AdaptOperationInput(NativeConstPtr const&, Adapter::Destination const& destination, Adapter::Queue&,
                              std::list<BaseMessage>&) {
  *destination = StructValue::GetInstance(TypeInfo<Opax::OperationInput>::name());
}

}  // namespace Data
}  // namespace Opax
