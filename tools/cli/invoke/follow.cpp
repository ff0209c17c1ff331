#include "invoke/follow.h"

#include "render/progress_display.h"

#include <opax/rpc/tasks/follow_task.h>

#include <unistd.h>
#include <iostream>

namespace Cli {

std::shared_ptr<::Opax::Core::MethodResult const> FollowWithProgress(
    ::Opax::Rpc::RpcClient& client, std::string const& taskId,
    std::shared_ptr<::Opax::Data::DataDefinition const> const& output) {
  ProgressDisplay display(std::cout, ::isatty(STDOUT_FILENO) == 1);
  ::Opax::Rpc::FollowOptions options;
  options.outputDefinition = output;
  auto result = ::Opax::Rpc::FollowTask(
      client, taskId, [&display](::Opax::Progress const& progress) { display.Update(progress); }, options);
  display.Finish();
  return result;
}

}  // namespace Cli
