#pragma once

// Marks a bus action as under way for as long as it lives: one bus action at a time, so a
// tick or a click that arrives while a run waits in its message box or yields during its reset
// pulse is dropped, never nested in its traffic.
class BusyGuard {
public:
    explicit BusyGuard(bool& busy) : busy_(busy) { busy_ = true; }
    ~BusyGuard() { busy_ = false; }
    BusyGuard(const BusyGuard&) = delete;
    BusyGuard& operator=(const BusyGuard&) = delete;

private:
    bool& busy_;
};
