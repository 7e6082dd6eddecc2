#pragma once
// The logger the demo mode shows: a QM720-XC that recorded a day and a half of
// ten-minute samples, with alarm bounds, a name and a good battery.
namespace hygro::sim {
class DeviceModel;
void LoadDemoState(DeviceModel& model);
}  // namespace hygro::sim
