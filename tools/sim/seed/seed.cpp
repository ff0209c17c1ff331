#include "seed.h"

#include <opax/core/data/data_value.h>
#include <opax/core/invocation/method_result.h>
#include <opax/json/decoder.h>
#include <opax/json/encoder.h>
#include <opax/rpc/protocol/operation_table.h>

#include <boost/json.hpp>

#include <chrono>
#include <future>
#include <map>
#include <vector>

namespace Sim {
namespace {

namespace json = boost::json;

constexpr std::chrono::seconds kCallTimeout{60};

::Opax::BaseMessage Problem(std::string const& origin, std::size_t index, std::string const& what) {
  return ::Opax::BaseMessage("nexar.sim.seed.call",
                             "Seed " + origin + ", call " + std::to_string(index + 1) + ": " + what,
                             {origin, std::to_string(index + 1), what});
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t at = 0;;) {
    std::size_t const next = text.find(separator, at);
    parts.push_back(text.substr(at, next == std::string_view::npos ? std::string_view::npos : next - at));
    if (next == std::string_view::npos) return parts;
    at = next + 1;
  }
}

// The value "name.member.member" names among the results so far, or null.
json::value const* Resolve(std::map<std::string, json::value, std::less<>> const& results,
                           std::string_view reference) {
  auto const parts = Split(reference, '.');
  auto const found = results.find(parts.front());
  if (found == results.end()) return nullptr;
  json::value const* at = &found->second;
  for (std::size_t i = 1; at && i < parts.size(); ++i) {
    json::object const* object = at->if_object();
    at = object ? object->if_contains(parts[i]) : nullptr;
  }
  return at;
}

// Replaces every "${...}" string of `input` by the value it names, walking the tree with a stack of
// its own. False with `missing` set to the first reference that names nothing.
bool Substitute(json::value& input, std::map<std::string, json::value, std::less<>> const& results,
                std::string& missing) {
  std::vector<json::value*> pending{&input};
  while (!pending.empty()) {
    json::value* at = pending.back();
    pending.pop_back();
    if (auto* object = at->if_object()) {
      for (auto& member : *object) pending.push_back(&member.value());
    } else if (auto* array = at->if_array()) {
      for (auto& element : *array) pending.push_back(&element);
    } else if (auto* text = at->if_string()) {
      std::string_view const view(*text);
      if (view.size() < 3 || view.substr(0, 2) != "${" || view.back() != '}') continue;
      json::value const* value = Resolve(results, view.substr(2, view.size() - 3));
      if (!value) {
        missing = std::string(view);
        return false;
      }
      *at = *value;
    }
  }
  return true;
}

std::string Describe(std::shared_ptr<::Opax::Core::MethodResult const> const& result) {
  if (!result || result->terminated()) return "the call ended without a result";
  std::string text = "it failed with " + std::string(result->error()->name());
  for (auto const& message : result->error()->messages()) text += "; " + message.defaultMessage();
  return text;
}

using Results = std::map<std::string, json::value, std::less<>>;

bool RunOne(std::string_view text, std::string const& origin, ::Opax::Rpc::OperationTable const& operations,
            Results& results, ::Opax::Provider::ApiProvider& provider,
            std::list<::Opax::BaseMessage>& messages) {
  boost::system::error_code ec;
  json::value seed = json::parse(json::string_view(text.data(), text.size()), ec);
  if (ec || !seed.is_array()) {
    messages.push_back(::Opax::BaseMessage("nexar.sim.seed.syntax",
                                           "Seed " + origin + " is not a JSON array of calls.", {origin}));
    return false;
  }
  json::array& calls = seed.as_array();
  for (std::size_t i = 0; i < calls.size(); ++i) {
    json::object* call = calls[i].if_object();
    json::string const* name =
        call ? call->if_contains("call") ? (*call)["call"].if_string() : nullptr : nullptr;
    if (!name) {
      messages.push_back(
          Problem(origin, i, "a call is an object with a \"call\" member naming the operation."));
      return false;
    }
    auto const* operation = operations.Find(std::string_view(*name));
    if (!operation || operation->task) {
      messages.push_back(Problem(origin, i, "no operation is called '" + std::string(*name) + "'."));
      return false;
    }
    json::value input = call->contains("input") ? (*call)["input"] : json::value(json::object());
    std::string missing;
    if (!Substitute(input, results, missing)) {
      messages.push_back(Problem(origin, i, "'" + missing + "' names no earlier result."));
      return false;
    }
    std::shared_ptr<::Opax::Data::DataValue const> value;
    std::list<::Opax::BaseMessage> faults;
    if (!::Opax::Json::Decode(json::serialize(input), *operation->input, value, faults)) {
      messages.push_back(Problem(origin, i,
                                 "the input does not fit the operation: " +
                                     (faults.empty() ? std::string() : faults.front().defaultMessage())));
      return false;
    }
    auto promise = std::make_shared<std::promise<std::shared_ptr<::Opax::Core::MethodResult const>>>();
    auto future = promise->get_future();
    provider.InvokeAsync(operation->method, value, ::Opax::Core::AsyncActivation::GetInstance(),
                         ::Opax::Core::AsyncApiResultCb::GetInstance(
                             [promise](std::shared_ptr<::Opax::Core::MethodResult const> const& result,
                                       ::Opax::Progress const&) {
                               if (result) promise->set_value(result);
                             }));
    if (future.wait_for(kCallTimeout) != std::future_status::ready) {
      messages.push_back(Problem(origin, i, "the call did not finish within a minute."));
      return false;
    }
    auto const result = future.get();
    if (!result->success() || result->terminated()) {
      messages.push_back(Problem(origin, i, Describe(result)));
      return false;
    }
    if (json::string const* as = call->if_contains("as") ? (*call)["as"].if_string() : nullptr) {
      std::string output;
      if (result->output() &&
          ::Opax::Json::Encode(*result->output(), operation->output.get(), output, faults)) {
        results[std::string(*as)] = json::parse(output);
      }
    }
  }
  return true;
}

}  // namespace

bool RunSeed(std::vector<SeedText> const& seeds, ::Opax::Provider::ApiProvider& provider,
             std::list<::Opax::BaseMessage>& messages) {
  ::Opax::Rpc::OperationTable const operations;
  Results results;
  for (SeedText const& seed : seeds) {
    if (!RunOne(seed.text, seed.origin, operations, results, provider, messages)) return false;
  }
  return true;
}

}  // namespace Sim
