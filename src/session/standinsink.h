#pragma once

// Before the first capture session is made. Only Qt 6.4's GStreamer back end needs it; elsewhere
// it does nothing. See standinsink.cpp.
void keepStandInSinksFromPrerolling();
