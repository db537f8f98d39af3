// The boundary between the host and the code of a module: state left by one call doesn't affect the next.
#pragma once

namespace hostref {

/// Runs code of a module with the trap flag cleared; restores trap flag and error mode at the end.
class CallBoundary {
 public:
    CallBoundary();
    ~CallBoundary();
    CallBoundary(const CallBoundary&) = delete;
    CallBoundary& operator=(const CallBoundary&) = delete;

    /// Leaves the trap flag cleared at the end.
    void forgetTrap() { mIsTrapping = false; }

 private:
    bool mIsTrapping;
    int mErrorMode;
};

}  // namespace hostref
