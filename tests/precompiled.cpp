// Carries the precompiled header of the test programs.
