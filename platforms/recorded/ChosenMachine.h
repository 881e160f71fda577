#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platforms/recorded/ChoiceFile.h"
#include "platforms/recorded/RecordedSMC.h"

namespace kelvora::platform {

/// The SMC of the recorded Mac that the account has chosen. What it takes is written into the
/// choice's file before the call returns, and every other program of the account reads it from
/// then on: each call looks whether the file has changed, which is one call to the file system.
///
/// Without a choice, and in a program with raised rights, there is no service. A choice that
/// becomes unusable, or is replaced by another machine, while it is in use makes calls fail with
/// kKernelNoDevice, until it is usable again; a write that cannot be stored fails with
/// kKernelError and is not taken. Faults are logged, the same one once until a write succeeds.
/// Any thread.
class ChosenMachine : public RecordedSMC {
 public:
  /// `file` is that of the choice, ChoiceFile::pathIn(). Throws MachineFileError when there is a
  /// choice that cannot be used.
  explicit ChosenMachine(std::string file);

 protected:
  bool hasService() const override { return hasService_; }
  KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override;

 private:
  void load();
  void refresh();
  void store();
  KernelStatus write(const SMCParamRecord& request, SMCParamRecord& reply);
  void report(const std::string& fault);

  ChoiceFile file_;
  std::vector<RecordedSMCKey> recorded_;
  bool hasService_ = false;
  std::optional<MachineFileError> fault_;  // of the file as it is
  std::string logged_;                     // last
};

}  // namespace kelvora::platform
