#pragma once

// The machine-wide settings services: processors, memory, boot, boot order and hardware version,
// each one document per machine (see kinds.h and machine_record.h).

#include "setting_jobs.h"

#include <memory>

namespace Sim {
namespace Machines {

using Activation = std::shared_ptr<::Opax::Core::AsyncActivation>;
using Void = ::Opax::Void;

class CpuService : public Vm::Hardware::CpuSvc::AsyncServiceInterface {
 public:
  explicit CpuService(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void Get(std::string const& vm, Activation const&,
           PlainResult<std::shared_ptr<CpuInfo const>> const& result) override;
  void Update(std::string const& vm, std::shared_ptr<Vm::Hardware::CpuSvc::UpdateSpec const> const& spec,
              Activation const&, PlainResult<Void> const& result) override;

 private:
  std::shared_ptr<State> state_;
};

class MemoryService : public Vm::Hardware::MemorySvc::AsyncServiceInterface {
 public:
  explicit MemoryService(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void Get(std::string const& vm, Activation const&,
           PlainResult<std::shared_ptr<MemoryInfo const>> const& result) override;
  void Update(std::string const& vm, std::shared_ptr<Vm::Hardware::MemorySvc::UpdateSpec const> const& spec,
              Activation const&, PlainResult<Void> const& result) override;

 private:
  std::shared_ptr<State> state_;
};

class BootService : public Vm::Hardware::BootSvc::AsyncServiceInterface {
 public:
  explicit BootService(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void Get(std::string const& vm, Activation const&,
           PlainResult<std::shared_ptr<BootInfo const>> const& result) override;
  void Update(std::string const& vm, std::shared_ptr<Vm::Hardware::BootSvc::UpdateSpec const> const& spec,
              Activation const&, PlainResult<Void> const& result) override;

 private:
  std::shared_ptr<State> state_;
};

class BootDeviceService : public Vm::Hardware::Boot::DeviceSvc::AsyncServiceInterface {
 public:
  using Entry = Vm::Hardware::Boot::DeviceSvc::Entry;
  using EntryCreateSpec = Vm::Hardware::Boot::DeviceSvc::EntryCreateSpec;

  explicit BootDeviceService(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void Get(std::string const& vm, Activation const&,
           PlainResult<std::list<std::shared_ptr<Entry const>>> const& result) override;
  void Set(std::string const& vm, std::list<std::shared_ptr<EntryCreateSpec const>> const& devices,
           Activation const&, PlainResult<Void> const& result) override;

 private:
  std::shared_ptr<State> state_;
};

class HardwareService : public Vm::HardwareSvc::AsyncServiceInterface {
 public:
  explicit HardwareService(std::shared_ptr<State> state) : state_(std::move(state)) {}
  void Get(std::string const& vm, Activation const&,
           PlainResult<std::shared_ptr<HardwareInfo const>> const& result) override;
  void Update(std::string const& vm, std::shared_ptr<Vm::HardwareSvc::UpdateSpec const> const& spec,
              Activation const&, PlainResult<Void> const& result) override;
  void Upgrade(std::string const& vm, boost::optional<Vm::HardwareSvc::Version> const& version,
               Activation const&, PlainResult<Void> const& result) override;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace Machines
}  // namespace Sim
