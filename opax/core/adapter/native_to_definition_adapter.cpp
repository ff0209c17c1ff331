#include <opax/core/adapter/native_to_definition_adapter.h>

namespace Opax {
namespace Data {

std::shared_ptr<DataDefinition const> NativeToDefinitionAdapter::DefinitionOf(AdaptFunction root) {
  std::shared_ptr<DataDefinition const> definition;
  std::list<BaseMessage> messages;
  Adapt(SrcType{}, root, &definition, messages);
  return definition;
}

bool NativeToDefinitionAdapter::Adapt(SrcType const& source, AdaptFunction root, Destination destination,
                                      std::list<BaseMessage>& messages) {
  std::size_t const before = messages.size();
  Container container;
  container.push_back(Entry{source, root, destination});
  while (!container.empty()) {
    Entry const entry = container.pop_back();
    entry.adapt(entry.source, entry.destination, container, messages);
  }
  return messages.size() == before;
}

NativeToDefinitionAdapter::CompoundHelper<StructDefinition>::CompoundHelper(void const* key, std::string name,
                                                                            Destination const& destination,
                                                                            Container& container,
                                                                            DefinitionType type)
    : container_(container) {
  auto& known = container.known()[key];
  if (known.finished) {
    *destination = known.finished;
    return;
  }
  if (known.building != nullptr) {
    auto reference = StructRefDefinition::GetInstance(std::move(name));
    known.building->references.push_back(reference);
    *destination = std::move(reference);
    return;
  }
  pending_ = &container.NewPending();
  pending_->key = key;
  pending_->type = type;
  pending_->name = std::move(name);
  pending_->destination = destination;
  known.building = pending_;
  // Below the fields' entries: runs after all of them.
  container.push_back(Entry{SrcType{pending_}, &N2D::FinishStructure, destination});
}

void NativeToDefinitionAdapter::CompoundHelper<StructDefinition>::AddField(std::string const& wireName,
                                                                           AdaptFunction adapt) {
  std::shared_ptr<DataDefinition const>& slot = pending_->fields[wireName];
  container_.push_back(Entry{SrcType{}, adapt, &slot});
}

void NativeToDefinitionAdapter::CompoundHelper<StructDefinition>::AddUnionCaseField(
    std::string const& wireName, std::string const& tagField, AdaptFunction adapt,
    UnionCaseDefinition::Predicate predicate) {
  auto unionCase = UnionCaseDefinition::GetInstance(nullptr, tagField, std::move(predicate));
  pending_->fields[wireName] = unionCase;
  container_.push_back(Entry{SrcType{}, adapt, unionCase->slot()});
}

void N2D::FinishStructure(Adapter::SrcType const& source, Adapter::Destination const& destination,
                          Adapter::Container& container, std::list<BaseMessage>&) {
  auto& pending = *static_cast<N2D_internal::PendingStructure*>(const_cast<void*>(source.build));
  std::shared_ptr<DataDefinition const> definition =
      pending.type == DefinitionType::Error
          ? std::shared_ptr<DataDefinition const>(
                ErrorDefinition::GetInstance(std::move(pending.name), std::move(pending.fields)))
          : StructDefinition::GetInstance(std::move(pending.name), std::move(pending.fields));
  for (auto const& reference : pending.references) reference->targetDefinition(definition);
  auto& known = container.known()[pending.key];
  known.building = nullptr;
  known.finished = definition;
  *destination = std::move(definition);
}

void N2D::AdaptOperationInput(Adapter::SrcType const&, Adapter::Destination const& destination,
                              Adapter::Container&, std::list<BaseMessage>&) {
  *destination = StructDefinition::GetInstance(TypeInfo<Opax::OperationInput>::name(), {});
}

}  // namespace Data
}  // namespace Opax
