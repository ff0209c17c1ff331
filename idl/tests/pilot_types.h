#pragma once

// The structures of the pilot areas (the virtual machine hardware family and authorization) and
// the shared types they use: the round-trip tests and the value fuzzer go through the same list.

#include <bindings/authorization/privilege_checks.h>
#include <bindings/authorization/privilege_checks/latest.h>
#include <bindings/authorization/privileges.h>
#include <bindings/authorization/roles.h>
#include <bindings/authorization/vt_containers.h>
#include <bindings/authorization/vt_containers/mappings.h>
#include <bindings/nexar.h>
#include <bindings/vm/hardware/adapter/nvme.h>
#include <bindings/vm/hardware/adapter/sata.h>
#include <bindings/vm/hardware/adapter/scsi.h>
#include <bindings/vm/hardware/boot.h>
#include <bindings/vm/hardware/boot/device.h>
#include <bindings/vm/hardware/cdrom.h>
#include <bindings/vm/hardware/common.h>
#include <bindings/vm/hardware/cpu.h>
#include <bindings/vm/hardware/disk.h>
#include <bindings/vm/hardware/ethernet.h>
#include <bindings/vm/hardware/floppy.h>
#include <bindings/vm/hardware/memory.h>
#include <bindings/vm/hardware/parallel.h>
#include <bindings/vm/hardware/serial.h>
#include <opax/cis/task.h>
#include <opax/std/errors.h>
#include <opax/std/std.h>

namespace Pilot {

namespace Nexar = ::Com::Quarn::Nexar;
namespace Hw = ::Com::Quarn::Nexar::Vm::Hardware;
namespace Auth = ::Com::Quarn::Nexar::Authorization;
namespace Std = ::Com::Quarn::Opax::Std;

template <class... T>
struct TypeList {};

using Structures = TypeList<

    // the hardware family, shared structures included
    Hw::ConnectionInfo, Hw::ConnectionCreateSpec, Hw::ConnectionUpdateSpec, Hw::IdeAddressInfo,
    Hw::IdeAddressSpec, Hw::SataAddressInfo, Hw::SataAddressSpec, Hw::ScsiAddressInfo, Hw::ScsiAddressSpec,
    Hw::NvmeAddressInfo, Hw::NvmeAddressSpec, Hw::BootSvc::Info, Hw::BootSvc::CreateSpec,
    Hw::BootSvc::UpdateSpec, Hw::Boot::DeviceSvc::Entry, Hw::Boot::DeviceSvc::EntryCreateSpec,
    Hw::CpuSvc::Info, Hw::CpuSvc::UpdateSpec, Hw::MemorySvc::Info, Hw::MemorySvc::UpdateSpec,
    Hw::Adapter::NvmeSvc::Info, Hw::Adapter::NvmeSvc::CreateSpec, Hw::Adapter::NvmeSvc::Summary,
    Hw::Adapter::SataSvc::Info, Hw::Adapter::SataSvc::CreateSpec, Hw::Adapter::SataSvc::Summary,
    Hw::Adapter::ScsiSvc::Info, Hw::Adapter::ScsiSvc::CreateSpec, Hw::Adapter::ScsiSvc::UpdateSpec,
    Hw::Adapter::ScsiSvc::Summary, Hw::CdromSvc::Info, Hw::CdromSvc::CreateSpec, Hw::CdromSvc::UpdateSpec,
    Hw::CdromSvc::BackingInfo, Hw::CdromSvc::BackingSpec, Hw::CdromSvc::Summary, Hw::DiskSvc::Info,
    Hw::DiskSvc::CreateSpec, Hw::DiskSvc::UpdateSpec, Hw::DiskSvc::BackingInfo, Hw::DiskSvc::BackingSpec,
    Hw::DiskSvc::VmdkCreateSpec, Hw::DiskSvc::StoragePolicySpec, Hw::DiskSvc::Summary, Hw::EthernetSvc::Info,
    Hw::EthernetSvc::CreateSpec, Hw::EthernetSvc::UpdateSpec, Hw::EthernetSvc::BackingInfo,
    Hw::EthernetSvc::BackingSpec, Hw::EthernetSvc::Summary, Hw::FloppySvc::Info, Hw::FloppySvc::CreateSpec,
    Hw::FloppySvc::UpdateSpec, Hw::FloppySvc::BackingInfo, Hw::FloppySvc::BackingSpec, Hw::FloppySvc::Summary,
    Hw::ParallelSvc::Info, Hw::ParallelSvc::CreateSpec, Hw::ParallelSvc::UpdateSpec,
    Hw::ParallelSvc::BackingInfo, Hw::ParallelSvc::BackingSpec, Hw::ParallelSvc::Summary, Hw::SerialSvc::Info,
    Hw::SerialSvc::CreateSpec, Hw::SerialSvc::UpdateSpec, Hw::SerialSvc::BackingInfo,
    Hw::SerialSvc::BackingSpec, Hw::SerialSvc::Summary,
    // authorization
    Auth::PrivilegeChecksSvc::Principal, Auth::PrivilegeChecksSvc::IterationSpec,
    Auth::PrivilegeChecksSvc::FilterSpec, Auth::PrivilegeChecksSvc::Info,
    Auth::PrivilegeChecksSvc::ListResult, Auth::PrivilegesSvc::FilterSpec, Auth::PrivilegesSvc::Summary,
    Auth::PrivilegesSvc::Info, Auth::RolesSvc::CreateSpec, Auth::RolesSvc::UpdateSpec, Auth::RolesSvc::Info,
    Auth::RolesSvc::Summary, Auth::RolesSvc::FilterSpec, Auth::VtContainersSvc::CreateSpec,
    Auth::VtContainersSvc::Info, Auth::VtContainersSvc::Summary, Auth::VtContainersSvc::FilterSpec,
    Auth::VtContainers::MappingsSvc::CreateSpec, Auth::VtContainers::MappingsSvc::Info,
    Auth::VtContainers::MappingsSvc::Summary, Auth::VtContainers::MappingsSvc::FilterSpec,
    // shared types and the sibling libraries
    Nexar::Credential, Nexar::UsernamePassword, Nexar::ServiceLocator, Std::LocalizableMessage,
    Std::DynamicID, Std::Errors::Error, Std::Errors::NotFound, ::Com::Quarn::Cis::Task::Progress>;

}  // namespace Pilot
