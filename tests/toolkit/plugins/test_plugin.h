/* Shared between the test plug-ins and the toolkit tests: the data a test plug-in creates. */
#ifndef ORVIK_TEST_PLUGIN_H
#define ORVIK_TEST_PLUGIN_H

#include <wchar.h>

typedef struct TestPluginData {
    wchar_t className[64];
    wchar_t instanceName[64];
    int configured;
} TestPluginData;

/* Each plug-in appends "<event> <instance>\n" to the file this variable names. */
#define TEST_PLUGIN_LOG_VARIABLE "ORVIK_TEST_PLUGIN_LOG"

#endif
