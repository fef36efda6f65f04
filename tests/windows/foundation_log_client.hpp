// A DLL that is a client of the log: see foundation_log_client.cpp.
#pragma once

#ifdef foundation_log_client_EXPORTS
__declspec(dllexport)
#else
__declspec(dllimport)
#endif
    /// From now on the DLL writes a note on the channel client while its static objects are destroyed.
    void client_speaks_when_unloaded();
