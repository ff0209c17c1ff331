#include "report.h"

#include <iomanip>

namespace Demo {
namespace {

constexpr int kIndent = 3;
constexpr int kLabelWidth = 14;

std::string Connection(::Com::Quarn::Nexar::Vm::Hardware::ConnectionState const& state, bool startConnected,
                       bool allowGuestControl) {
  std::string text = state.text();
  if (startConnected) text += ", connects at power-on";
  if (allowGuestControl) text += ", guest may connect";
  return text;
}

std::string Address(CdromSvc::Info const& info) {
  if (info.ide()) {
    return std::string("IDE ") + (info.ide()->primary() ? "primary" : "secondary") + " channel, " +
           (info.ide()->master() ? "master" : "second") + " device";
  }
  if (info.sata()) {
    return "SATA bus " + std::to_string(info.sata()->bus()) + ", unit " + std::to_string(info.sata()->unit());
  }
  return "none";
}

std::string Backing(CdromSvc::BackingInfo const& backing) {
  std::string text = backing.type().text();
  if (backing.isoFile()) text += "  " + *backing.isoFile();
  if (backing.hostDevice()) text += "  " + *backing.hostDevice();
  if (backing.autoDetect().value_or(false)) text += "  (auto-detected)";
  if (backing.deviceAccessType()) text += ", " + backing.deviceAccessType()->text();
  return text;
}

std::string Backing(EthernetSvc::BackingInfo const& backing) {
  std::string text = backing.type().text();
  if (backing.network()) text += "  " + *backing.network();
  if (backing.networkName()) text += " (" + *backing.networkName() + ")";
  if (backing.distributedSwitchUuid()) text += " on switch " + *backing.distributedSwitchUuid();
  if (backing.distributedPort()) text += ", port " + *backing.distributedPort();
  if (backing.hostDevice()) text += "  " + *backing.hostDevice();
  return text;
}

}  // namespace

void Report::Title(std::string const& text) { out_ << text << "\n"; }

void Report::Heading(std::string const& text) { out_ << "\n" << ++section_ << ". " << text << "\n"; }

void Report::Field(std::string const& label, std::string const& value) {
  out_ << std::string(kIndent, ' ') << std::left << std::setw(kLabelWidth) << label << value << "\n";
}

void Report::Device(std::string const& id, std::string const& label, Fields const& fields) {
  out_ << std::string(kIndent, ' ') << std::left << std::setw(kLabelWidth) << id << label << "\n";
  for (auto const& field : fields) {
    out_ << std::string(kIndent + 2, ' ') << std::left << std::setw(kLabelWidth - 2) << field.first
         << field.second << "\n";
  }
}

void Report::Error(ErrorPtr const& error) {
  if (!error) return;
  Field("error", error->name());
  for (auto const& message : error->messages()) Field("message", message.defaultMessage());
}

bool Report::Expect(bool holds, std::string const& what) {
  if (!holds) {
    failures_.push_back(what);
    Field("NOT AS EXPECTED", what);
  }
  return holds;
}

bool Report::ExpectNoError(ErrorPtr const& error, std::string const& what) {
  if (!Expect(error == nullptr, what)) Error(error);
  return error == nullptr;
}

void Report::Verdict() {
  out_ << "\n";
  if (failures_.empty()) {
    out_ << "Every step behaved as expected.\n";
  } else {
    out_ << failures_.size() << (failures_.size() == 1 ? " step" : " steps")
         << " did not behave as expected.\n";
  }
}

Fields Describe(CdromSvc::Info const& info) {
  Fields fields{{"address", Address(info)}};
  if (info.backing()) fields.emplace_back("backing", Backing(*info.backing()));
  fields.emplace_back("state", Connection(info.state(), info.startConnected(), info.allowGuestControl()));
  return fields;
}

Fields Describe(EthernetSvc::Info const& info) {
  std::string emulation = info.type().text();
  if (info.uptCompatibilityEnabled().value_or(false)) emulation += ", UPT compatible";
  Fields fields{{"emulation", emulation},
                {"MAC address", info.macAddress().value_or("none") + " (" + info.macType().text() + ")"}};
  if (info.backing()) fields.emplace_back("backing", Backing(*info.backing()));
  fields.emplace_back("state", Connection(info.state(), info.startConnected(), info.allowGuestControl()));
  return fields;
}

}  // namespace Demo
