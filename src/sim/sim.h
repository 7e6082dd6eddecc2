#pragma once
// The logger emulator: an independent model of the logger, used by the demo
// mode, the tests and the hygrotab-sim pseudo-terminal host.
