#pragma once

// A seed: the calls that build an inventory, as a JSON array run in order against the simulator's
// services before it serves anyone. Each element is
//
//   {"call": "<service id>/<operation>", "input": {<the operation's parameters>}, "as": "<name>"}
//
// with "input" in the wire format and "as" optional. A string in an input that is exactly
// "${name}" or "${name.member.member}" stands for the result that the call named `name` returned
// (or one member of it), so that later calls can refer to what earlier ones created:
//
//   {"call": "com.quarn.nexar.datacenter/create", "input": {"spec": {"name": "east"}}, "as": "east"},
//   {"call": "com.quarn.nexar.datacenter/get", "input": {"datacenter": "${east}"}, "as": "east-info"},
//   {"call": "com.quarn.nexar.folder/create", "input": {"parent": "${east-info.vm_folder}", ...}}
//
// Every call goes through the service's binder and implementation, as a client's would: a seed
// can only build an inventory that the services themselves accept.

#include <opax/core/message/base_message.h>
#include <opax/core/provider/api_provider.h>

#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace Sim {

struct SeedText {
  std::string origin;  // names the seed in messages: its file
  std::string text;
};

// Runs the calls of each seed in turn; a later seed may refer to the results that an earlier one
// named. False with messages at the first call that fails (the calls before it stay done).
bool RunSeed(std::vector<SeedText> const& seeds, ::Opax::Provider::ApiProvider& provider,
             std::list<::Opax::BaseMessage>& messages);

// The inventory built in: a few datacenters, clusters, hosts, datastores and networks
// (inventory.json), then about twenty machines with their devices (machines.json).
std::vector<SeedText> DefaultSeed();

}  // namespace Sim
