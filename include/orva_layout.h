/**
 * @file
 * Sizes and offsets of the records whose layout is fixed, checked by the compiler.
 *
 * Each public header includes this file at its end with its own ORVA_LAYOUT_ macro defined, so every source that sees
 * a record checks its layout. A record of the platform is checked with the header that uses it. Nothing else includes
 * this file, and it declares nothing: it may be included any number of times.
 */
#include "orva_types.h"

/** @cond */
#define ORVA_LAYOUT_SIZE(record, bytes) ORVA_STATIC_ASSERT(sizeof(record) == (bytes), "size of " #record)
#define ORVA_LAYOUT_AT(record, field, bytes)                                                                         \
    ORVA_STATIC_ASSERT(offsetof(record, field) == (bytes), "offset of " #record "." #field)

#ifdef ORVA_LAYOUT_COMM
#undef ORVA_LAYOUT_COMM
ORVA_LAYOUT_SIZE(OrvaSemEntry, 16);
ORVA_LAYOUT_AT(OrvaSemEntry, key, 0);
ORVA_LAYOUT_AT(OrvaSemEntry, tag, 8);
ORVA_LAYOUT_AT(OrvaSemEntry, inUse, 12);
ORVA_LAYOUT_SIZE(OrvaCommLocal, 16400);
ORVA_LAYOUT_AT(OrvaCommLocal, semTable, 0);
ORVA_LAYOUT_AT(OrvaCommLocal, memHandle, 16384);
ORVA_LAYOUT_AT(OrvaCommLocal, memPartition, 16388);
ORVA_LAYOUT_AT(OrvaCommLocal, omaMemHandle, 16392);
ORVA_LAYOUT_SIZE(OrvaQueueMessage, 2568);
ORVA_LAYOUT_AT(OrvaQueueMessage, type, 0);
ORVA_LAYOUT_AT(OrvaQueueMessage, payload, 8);
ORVA_LAYOUT_SIZE(OrvaCalendarTime, 8);
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, year) == offsetof(MIRO_SYSTIME, year),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, month) == offsetof(MIRO_SYSTIME, month),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, day) == offsetof(MIRO_SYSTIME, day),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, hour) == offsetof(MIRO_SYSTIME, hour),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, minute) == offsetof(MIRO_SYSTIME, minute),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, second) == offsetof(MIRO_SYSTIME, second),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_STATIC_ASSERT(offsetof(OrvaCalendarTime, reserved) == offsetof(MIRO_SYSTIME, reserved),
                   "the first eight bytes of MIRO_SYSTIME");
ORVA_LAYOUT_SIZE(MIRO_SYSTIME, 12);
ORVA_LAYOUT_SIZE(MIRO_ZONETIME, 12);
ORVA_LAYOUT_SIZE(MIRO_AVL_NODE, 44);
ORVA_LAYOUT_AT(MIRO_AVL_NODE, leftHeight, 24);
ORVA_LAYOUT_AT(MIRO_AVL_NODE, self, 28);
ORVA_LAYOUT_AT(MIRO_AVL_NODE, key, 36);
ORVA_LAYOUT_SIZE(MIRO_AVL_TREE, 32);
ORVA_LAYOUT_AT(MIRO_AVL_TREE, root, 8);
#endif

#ifdef ORVA_LAYOUT_API_LOG
#undef ORVA_LAYOUT_API_LOG
ORVA_LAYOUT_SIZE(OrvaDlogInfoDesc, 68);
ORVA_LAYOUT_AT(OrvaDlogInfoDesc, infoId, 0);
ORVA_LAYOUT_AT(OrvaDlogInfoDesc, legend, 4);
ORVA_LAYOUT_SIZE(OrvaPositionDesc, 40);
ORVA_LAYOUT_AT(OrvaPositionDesc, idKind, 0);
ORVA_LAYOUT_AT(OrvaPositionDesc, infoId, 4);
ORVA_LAYOUT_AT(OrvaPositionDesc, slotPrefix, 8);
ORVA_LAYOUT_AT(OrvaPositionDesc, fruPrefix, 24);
ORVA_LAYOUT_SIZE(OrvaSensorTypeDesc, 260);
ORVA_LAYOUT_AT(OrvaSensorTypeDesc, type, 0);
ORVA_LAYOUT_AT(OrvaSensorTypeDesc, name, 4);
#endif

#ifdef ORVA_LAYOUT_DEADLOOP
#undef ORVA_LAYOUT_DEADLOOP
ORVA_LAYOUT_SIZE(OrvaDeadLoopHook, 32);
ORVA_LAYOUT_SIZE(OrvaDeadLoopRecord, 16);
ORVA_LAYOUT_AT(OrvaDeadLoopRecord, handle, 0);
ORVA_LAYOUT_AT(OrvaDeadLoopRecord, entry, 8);
#endif

#ifdef ORVA_LAYOUT_DEBUGGING
#undef ORVA_LAYOUT_DEBUGGING
ORVA_LAYOUT_SIZE(OrvaDebugSwitch, 36);
ORVA_LAYOUT_AT(OrvaDebugSwitch, udpSwitch, 0);
ORVA_LAYOUT_AT(OrvaDebugSwitch, udpCmd, 4);
ORVA_LAYOUT_AT(OrvaDebugSwitch, udpNetFn, 6);
ORVA_LAYOUT_AT(OrvaDebugSwitch, ipmbSwitch, 8);
ORVA_LAYOUT_AT(OrvaDebugSwitch, ipmbCmd, 12);
ORVA_LAYOUT_AT(OrvaDebugSwitch, ipmbNetFn, 14);
ORVA_LAYOUT_AT(OrvaDebugSwitch, logModuleMask, 16);
ORVA_LAYOUT_AT(OrvaDebugSwitch, logSlotId, 20);
ORVA_LAYOUT_AT(OrvaDebugSwitch, logLevelMask, 24);
ORVA_LAYOUT_AT(OrvaDebugSwitch, canSwitch, 28);
ORVA_LAYOUT_AT(OrvaDebugSwitch, rs485Switch, 32);
ORVA_LAYOUT_SIZE(OrvaPacketIsOnRow, 16);
ORVA_LAYOUT_AT(OrvaPacketIsOnRow, type, 0);
ORVA_LAYOUT_AT(OrvaPacketIsOnRow, isOn, 8);
ORVA_LAYOUT_SIZE(OrvaPacketSetRow, 16);
ORVA_LAYOUT_AT(OrvaPacketSetRow, type, 0);
ORVA_LAYOUT_AT(OrvaPacketSetRow, set, 8);
#endif

#ifdef ORVA_LAYOUT_DIAG
#undef ORVA_LAYOUT_DIAG
ORVA_LAYOUT_SIZE(OrvaDiagItem, 72);
ORVA_LAYOUT_AT(OrvaDiagItem, link, 0);
ORVA_LAYOUT_AT(OrvaDiagItem, keyId, 44);
ORVA_LAYOUT_AT(OrvaDiagItem, successNum, 48);
ORVA_LAYOUT_AT(OrvaDiagItem, dropNum, 52);
ORVA_LAYOUT_AT(OrvaDiagItem, zone, 56);
ORVA_LAYOUT_SIZE(OrvaDiagNode, 144);
ORVA_LAYOUT_AT(OrvaDiagNode, diagId, 0);
ORVA_LAYOUT_AT(OrvaDiagNode, itemCount, 4);
ORVA_LAYOUT_AT(OrvaDiagNode, line, 8);
ORVA_LAYOUT_AT(OrvaDiagNode, file, 12);
ORVA_LAYOUT_AT(OrvaDiagNode, text, 44);
ORVA_LAYOUT_AT(OrvaDiagNode, tree, 112);
ORVA_LAYOUT_SIZE(OrvaDiagMgr, 40);
ORVA_LAYOUT_AT(OrvaDiagMgr, uiSwitch, 0);
ORVA_LAYOUT_AT(OrvaDiagMgr, nodeCount, 4);
ORVA_LAYOUT_AT(OrvaDiagMgr, uiErrCount, 8);
ORVA_LAYOUT_AT(OrvaDiagMgr, uiErrLine, 12);
ORVA_LAYOUT_AT(OrvaDiagMgr, startTime, 16);
ORVA_LAYOUT_AT(OrvaDiagMgr, curZone, 20);
ORVA_LAYOUT_AT(OrvaDiagMgr, baseDiagId, 24);
ORVA_LAYOUT_AT(OrvaDiagMgr, mutex, 32);
ORVA_LAYOUT_AT(OrvaDiagMgr, nodes, 40);
#endif

#ifdef ORVA_LAYOUT_DRVADP_COMM
#undef ORVA_LAYOUT_DRVADP_COMM
ORVA_LAYOUT_SIZE(OrvaSelfBoardBase, 24);
ORVA_LAYOUT_AT(OrvaSelfBoardBase, selfSlot, 0);
ORVA_LAYOUT_AT(OrvaSelfBoardBase, deviceRunState, 4);
ORVA_LAYOUT_AT(OrvaSelfBoardBase, reserved, 8);
ORVA_LAYOUT_AT(OrvaSelfBoardBase, selfChassis, 12);
ORVA_LAYOUT_AT(OrvaSelfBoardBase, isBoxStack, 16);
ORVA_LAYOUT_AT(OrvaSelfBoardBase, frameType, 20);
ORVA_LAYOUT_SIZE(BoardPortInfo, 24);
ORVA_LAYOUT_AT(BoardPortInfo, boardType, 0);
ORVA_LAYOUT_AT(BoardPortInfo, reserved4, 4);
ORVA_LAYOUT_AT(BoardPortInfo, waitFlag, 5);
ORVA_LAYOUT_AT(BoardPortInfo, octetSelect, 6);
ORVA_LAYOUT_AT(BoardPortInfo, reserved7, 7);
ORVA_LAYOUT_AT(BoardPortInfo, ifName, 8);
ORVA_LAYOUT_SIZE(OrvaBoardNameId, 16);
ORVA_LAYOUT_AT(OrvaBoardNameId, name, 0);
ORVA_LAYOUT_AT(OrvaBoardNameId, boardId, 8);
#endif

#ifdef ORVA_LAYOUT_IMLIB
#undef ORVA_LAYOUT_IMLIB
ORVA_LAYOUT_SIZE(OrvaDebugRecord, 8);
ORVA_LAYOUT_SIZE(OrvaImInitRecord, 96);
ORVA_LAYOUT_AT(OrvaImInitRecord, reserved32, 32);
ORVA_LAYOUT_AT(OrvaImInitRecord, initParam, 36);
ORVA_LAYOUT_AT(OrvaImInitRecord, reserved38, 38);
ORVA_LAYOUT_AT(OrvaImInitRecord, getSysTime, 64);
ORVA_LAYOUT_AT(OrvaImInitRecord, reserved72, 72);
ORVA_LAYOUT_AT(OrvaImInitRecord, reserved80, 80);
ORVA_LAYOUT_AT(OrvaImInitRecord, reserved84, 84);
ORVA_LAYOUT_SIZE(OrvaImlib, 136);
ORVA_LAYOUT_AT(OrvaImlib, imHandle, 0);
ORVA_LAYOUT_AT(OrvaImlib, mainBoardIp, 8);
ORVA_LAYOUT_AT(OrvaImlib, localIp, 12);
ORVA_LAYOUT_AT(OrvaImlib, ipChkTimer, 16);
ORVA_LAYOUT_AT(OrvaImlib, timerModule, 24);
ORVA_LAYOUT_AT(OrvaImlib, setMainBoardIp, 32);
ORVA_LAYOUT_AT(OrvaImlib, setLocalIp, 40);
ORVA_LAYOUT_AT(OrvaImlib, debug, 48);
ORVA_LAYOUT_AT(OrvaImlib, setProcessInfo, 56);
ORVA_LAYOUT_AT(OrvaImlib, switchBlock, 64);
ORVA_LAYOUT_AT(OrvaImlib, initParam, 68);
ORVA_LAYOUT_AT(OrvaImlib, processName, 72);
ORVA_LAYOUT_AT(OrvaImlib, libraryPath, 104);
#endif

#ifdef ORVA_LAYOUT_LIST
#undef ORVA_LAYOUT_LIST
ORVA_LAYOUT_SIZE(OrvaListNode, 28);
ORVA_LAYOUT_AT(OrvaListNode, id, 0);
ORVA_LAYOUT_AT(OrvaListNode, data, 4);
ORVA_LAYOUT_AT(OrvaListNode, next, 12);
ORVA_LAYOUT_AT(OrvaListNode, prev, 20);
ORVA_LAYOUT_SIZE(OrvaList, 24);
ORVA_LAYOUT_AT(OrvaList, reserved, 0);
ORVA_LAYOUT_AT(OrvaList, kind, 4);
ORVA_LAYOUT_AT(OrvaList, head, 8);
ORVA_LAYOUT_AT(OrvaList, tail, 16);
#endif

#ifdef ORVA_LAYOUT_PERFTRACE_COMM
#undef ORVA_LAYOUT_PERFTRACE_COMM
ORVA_LAYOUT_SIZE(OrvaTracePoint, 56);
ORVA_LAYOUT_AT(OrvaTracePoint, reserved, 0);
ORVA_LAYOUT_AT(OrvaTracePoint, count, 4);
ORVA_LAYOUT_AT(OrvaTracePoint, beginNsec, 8);
ORVA_LAYOUT_AT(OrvaTracePoint, beginSec, 12);
ORVA_LAYOUT_AT(OrvaTracePoint, endNsec, 16);
ORVA_LAYOUT_AT(OrvaTracePoint, endSec, 20);
ORVA_LAYOUT_AT(OrvaTracePoint, min, 24);
ORVA_LAYOUT_AT(OrvaTracePoint, max, 32);
ORVA_LAYOUT_AT(OrvaTracePoint, avg, 40);
ORVA_LAYOUT_AT(OrvaTracePoint, total, 48);
ORVA_LAYOUT_SIZE(OrvaTrace, 16);
ORVA_LAYOUT_AT(OrvaTrace, active, 0);
ORVA_LAYOUT_AT(OrvaTrace, nodeCount, 4);
ORVA_LAYOUT_AT(OrvaTrace, nodes, 8);
#endif

#ifdef ORVA_LAYOUT_POWER_FAN_CFG
#undef ORVA_LAYOUT_POWER_FAN_CFG
ORVA_LAYOUT_SIZE(OrvaCalThreshold, 16);
ORVA_LAYOUT_AT(OrvaCalThreshold, first, 0);
ORVA_LAYOUT_AT(OrvaCalThreshold, second, 4);
ORVA_LAYOUT_AT(OrvaCalThreshold, third, 8);
ORVA_LAYOUT_AT(OrvaCalThreshold, fourth, 12);
#endif

#ifdef ORVA_LAYOUT_SIMULATE_COMM
#undef ORVA_LAYOUT_SIMULATE_COMM
ORVA_LAYOUT_SIZE(OrvaStubItem, 40);
ORVA_LAYOUT_AT(OrvaStubItem, stubType, 0);
ORVA_LAYOUT_AT(OrvaStubItem, stubValue, 4);
ORVA_LAYOUT_AT(OrvaStubItem, stubName, 8);
ORVA_LAYOUT_SIZE(OrvaBoardOnlinePair, 2);
ORVA_LAYOUT_AT(OrvaBoardOnlinePair, slot, 0);
ORVA_LAYOUT_AT(OrvaBoardOnlinePair, state, 1);
ORVA_LAYOUT_SIZE(OrvaSimulateRoot, 1384);
ORVA_LAYOUT_AT(OrvaSimulateRoot, stubCount, 0);
ORVA_LAYOUT_AT(OrvaSimulateRoot, stubs, 4);
ORVA_LAYOUT_AT(OrvaSimulateRoot, boardOnline, 1284);
ORVA_LAYOUT_AT(OrvaSimulateRoot, sensorCount, 1348);
ORVA_LAYOUT_AT(OrvaSimulateRoot, sensorTree, 1352);
ORVA_LAYOUT_SIZE(OrvaSimulateSensorItem, 56);
ORVA_LAYOUT_AT(OrvaSimulateSensorItem, key, 0);
ORVA_LAYOUT_AT(OrvaSimulateSensorItem, sensorMask, 4);
ORVA_LAYOUT_AT(OrvaSimulateSensorItem, sensorValue, 8);
ORVA_LAYOUT_AT(OrvaSimulateSensorItem, node, 12);
ORVA_LAYOUT_SIZE(OrvaSimulateSensorReq, 28);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, lead, 0);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, slotId, 4);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, keyExtra, 8);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, sensorType, 12);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, sensorNum, 16);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, gap, 20);
ORVA_LAYOUT_AT(OrvaSimulateSensorReq, sensorMask, 24);
#endif

#ifdef ORVA_LAYOUT_TLV_SENSOR_COMM
#undef ORVA_LAYOUT_TLV_SENSOR_COMM
ORVA_LAYOUT_SIZE(OrvaTlvDes, 40);
ORVA_LAYOUT_AT(OrvaTlvDes, flag, 0);
ORVA_LAYOUT_AT(OrvaTlvDes, tag, 4);
ORVA_LAYOUT_AT(OrvaTlvDes, offset, 8);
ORVA_LAYOUT_AT(OrvaTlvDes, type, 12);
ORVA_LAYOUT_AT(OrvaTlvDes, elemSize, 16);
ORVA_LAYOUT_AT(OrvaTlvDes, totalLen, 20);
ORVA_LAYOUT_AT(OrvaTlvDes, nested, 24);
ORVA_LAYOUT_AT(OrvaTlvDes, nestedRows, 32);
ORVA_LAYOUT_AT(OrvaTlvDes, reserved, 36);
ORVA_LAYOUT_SIZE(OrvaTempSensorCfg, 28);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, tempNodeType, 0);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, queryByChip, 1);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, chipIndex, 2);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, cpuIndex, 3);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, ownerId, 4);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, ownerLun, 5);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, sensorNum, 6);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, sensorInitia, 7);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, sensorType, 8);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, assertionEventMask, 10);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, deassertionEventMask, 12);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, sensorUnit3, 14);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, uprFatalAlm, 15);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, uprMajorAlm, 16);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, uprMinorAlm, 17);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, lwrFatalAlm, 18);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, lwrMajorAlm, 19);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, lwrMinorAlm, 20);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, positivegoingThre, 21);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, negativegoingThre, 22);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, busId, 23);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, deviceModifier, 24);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, i2cChannel, 25);
ORVA_LAYOUT_AT(OrvaTempSensorCfg, reserve, 26);
ORVA_LAYOUT_SIZE(OrvaVltSensorCfg, 28);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, sensorNum, 0);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, sensorInitia, 1);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, sensorType, 2);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, assertionEventMask, 4);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, deassertionEventMask, 6);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, sensorUnit3, 8);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, sensorMLS, 9);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, rexpBexp, 10);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, nominalReading, 11);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, uprFatalAlm, 12);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, uprMajorAlm, 13);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, uprMinorAlm, 14);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, lwrFatalAlm, 15);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, lwrMajorAlm, 16);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, lwrMinorAlm, 17);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, positiveGoingThre, 18);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, negativegoingThre, 19);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, busId, 20);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, slotId, 21);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, deviceModifier, 22);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, voltageId, 23);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, extra1, 24);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, extra2, 25);
ORVA_LAYOUT_AT(OrvaVltSensorCfg, extra3, 26);
ORVA_LAYOUT_SIZE(OrvaDelayPowerOn, 8);
ORVA_LAYOUT_AT(OrvaDelayPowerOn, delayFlag, 0);
ORVA_LAYOUT_AT(OrvaDelayPowerOn, delayTime, 4);
ORVA_LAYOUT_SIZE(OrvaBoardInfoSync, 12);
ORVA_LAYOUT_AT(OrvaBoardInfoSync, info1, 0);
ORVA_LAYOUT_AT(OrvaBoardInfoSync, info2, 1);
ORVA_LAYOUT_AT(OrvaBoardInfoSync, delayPowerOn, 4);
ORVA_LAYOUT_SIZE(OrvaPwrsPwrSync, 3);
ORVA_LAYOUT_AT(OrvaPwrsPwrSync, pwr1, 0);
ORVA_LAYOUT_AT(OrvaPwrsPwrSync, pwr2, 1);
ORVA_LAYOUT_AT(OrvaPwrsPwrSync, pwr3, 2);
ORVA_LAYOUT_SIZE(OrvaAgentModelCtl, 96);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlWord1, 0);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlWord2, 4);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte3, 8);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, mngSlotNum, 9);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, mngSlot, 10);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, mngSlotType, 39);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte7, 68);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte8, 69);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte9, 70);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte10, 71);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte11, 72);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte12, 73);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte13, 74);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte14, 75);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte15, 76);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, ctlByte16, 77);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, stackSlotNum, 78);
ORVA_LAYOUT_AT(OrvaAgentModelCtl, stackSlot, 79);
#endif

#undef ORVA_LAYOUT_SIZE
#undef ORVA_LAYOUT_AT
/** @endcond */
