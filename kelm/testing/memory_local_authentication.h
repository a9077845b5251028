#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/local_authentication.h"

namespace kelm::testing {

/// A device whose state is the test's to set: at first one with a passcode and enrolled fingers.
/// Thread-safe.
class KELM_API MemoryLocalAuthentication : public platform::LocalAuthentication {
 public:
  platform::AuthenticationAbility ability(AuthenticationPolicy policy) override {
    const Lock lock(mutex_);
    ++questions_;
    return policy == AuthenticationPolicy::Biometrics ? biometrics_ : owner_;
  }
  BiometryType biometryType() override {
    const Lock lock(mutex_);
    return type_;
  }
  void evaluate(platform::AuthenticationQuestion question, Reply reply) override {
    const Lock lock(mutex_);
    evaluations_.push_back({std::move(question), std::move(reply)});
  }
  bool isProtectedDataAvailable() override {
    const Lock lock(mutex_);
    return isUnlocked_;
  }
  void setPrompt(platform::AuthenticationPrompt) override {}
  std::string missing() override { return {}; }

  /// Sets the answers to questions about each policy from now on.
  void setAbilities(platform::AuthenticationAbility biometrics,
                    platform::AuthenticationAbility owner) {
    const Lock lock(mutex_);
    biometrics_ = biometrics;
    owner_ = owner;
  }
  void setBiometryType(BiometryType type) {
    const Lock lock(mutex_);
    type_ = type;
  }
  void setProtectedDataAvailable(bool available) {
    const Lock lock(mutex_);
    isUnlocked_ = available;
  }
  /// The earliest authentication that runs; ends it by its reply. Only while there is one.
  struct Evaluation {
    platform::AuthenticationQuestion question;
    Reply reply;
  };
  Evaluation takeEvaluation() {
    const Lock lock(mutex_);
    Evaluation first = std::move(evaluations_.front());
    evaluations_.pop_front();
    return first;
  }
  /// How often the ability was asked for.
  int questions() const {
    const Lock lock(mutex_);
    return questions_;
  }

 private:
  mutable Mutex mutex_;
  platform::AuthenticationAbility biometrics_ KELM_GUARDED_BY(mutex_){true, 0};
  platform::AuthenticationAbility owner_ KELM_GUARDED_BY(mutex_){true, 0};
  BiometryType type_ KELM_GUARDED_BY(mutex_) = BiometryType::Touch;
  bool isUnlocked_ KELM_GUARDED_BY(mutex_) = true;
  int questions_ KELM_GUARDED_BY(mutex_) = 0;
  std::deque<Evaluation> evaluations_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
