// Byte-order conversion of agent messages: one function per message and direction.
#include "orva_comm.h"

#include "message_layout.h"

void ORVA_AGENT_ChgSwitchOverMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSwitchOverToHost>(body);
}

void ORVA_AGENT_ChgSwitchOverMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSwitchOverToNet>(frame);
}

void ORVA_AGENT_ChgSenAlmReqMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSenAlmReqToHost>(body);
}

void ORVA_AGENT_ChgSenAlmReqMsgToNet(void *body) {
    orva::convert_message<orva::Converter::kSenAlmReqToNet>(body);
}

void ORVA_AGENT_ChgAddrRegMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kAddrRegToHost>(body);
}

void ORVA_AGENT_ChgAddrAckMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kAddrAckToNet>(frame);
}

void ORVA_AGENT_ChgTempInfoMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kTempInfoToHost>(body);
}

void ORVA_AGENT_ChgTempInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kTempInfoToNet>(frame);
}

void ORVA_AGENT_ChgVltInfoMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kVltInfoToHost>(body);
}

void ORVA_AGENT_ChgVltInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kVltInfoToNet>(frame);
}

void ORVA_AGENT_ChgMpuMngSensorInfoToHost(void *body) {
    orva::convert_message<orva::Converter::kMpuMngSensorInfoToHost>(body);
}

void ORVA_AGENT_ChgMpuMngSensorInfoToNet(void *body) {
    orva::convert_message<orva::Converter::kMpuMngSensorInfoToNet>(body);
}

void ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kMpuMngSensorInfoMsgToNet>(frame);
}

void ORVA_AGENT_ChgSubCardInfoMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSubCardInfoToHost>(body);
}

void ORVA_AGENT_ChgSubCardInfoMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSubCardInfoToNet>(frame);
}

void ORVA_AGENT_ChgCardAttrMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kCardAttrToHost>(body);
}

void ORVA_AGENT_ChgCardAttrMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kCardAttrToNet>(frame);
}

void ORVA_AGENT_ChgCardHumidMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kCardHumidToHost>(body);
}

void ORVA_AGENT_ChgCardHumidMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kCardHumidToNet>(frame);
}

void ORVA_AGENT_ChgSimulateMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSimulateToHost>(body);
}

void ORVA_AGENT_ChgSimulateMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSimulateToNet>(frame);
}

void ORVA_AGENT_ChgSoNameReqToHost(void *body) {
    orva::convert_message<orva::Converter::kSoNameReqToHost>(body);
}

void ORVA_AGENT_ChgSoNameReqToNet(void *frame) {
    orva::convert_message<orva::Converter::kSoNameReqToNet>(frame);
}

void ORVA_AGENT_ChgSoNameAckToHost(void *body) {
    orva::convert_message<orva::Converter::kSoNameAckToHost>(body);
}

void ORVA_AGENT_ChgSoNameAckToNet(void *frame) {
    orva::convert_message<orva::Converter::kSoNameAckToNet>(frame);
}

void ORVA_AGENT_ChgFrameAttrMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kFrameAttrToHost>(body);
}

void ORVA_AGENT_ChgReqFrameAtrrMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kFrameAttrReqToNet>(frame);
}

void ORVA_AGENT_ChgReqMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kReqToHost>(body);
}

void ORVA_AGENT_ChgReqMsgToNet(void *body) {
    orva::convert_message<orva::Converter::kReqToNet>(body);
}

void ORVA_AGENT_ChgFrameCardPowerStateMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kFrameCardPowerStateToHost>(body);
}

void ORVA_AGENT_ChgFrameCardPowerStateMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kFrameCardPowerStateToNet>(frame);
}

void ORVA_AGENT_ChgPowerStateMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kPowerStateToNet>(frame);
}

void ORVA_AGENT_ChgPwrSenCfgMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kPwrSenCfgToHost>(body);
}

void ORVA_AGENT_ChgPwrSenCfgMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kPwrSenCfgToNet>(frame);
}

void ORVA_AGENT_ChgHeartBeatMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kHeartBeatToHost>(body);
}

void ORVA_AGENT_ChgHeartBeatMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kHeartBeatToNet>(frame);
}

void ORVA_AGENT_ChgSensorCtrlMsgToHost(void *body) {
    orva::convert_message<orva::Converter::kSensorCtrlToHost>(body);
}

void ORVA_AGENT_ChgSensorCtrlMsgToNet(void *frame) {
    orva::convert_message<orva::Converter::kSensorCtrlToNet>(frame);
}

void ORVA_AGENT_ChgSwitchOverMsgToHostPath() {}

void ORVA_AGENT_ChgSwitchOverMsgToNetPath() {}

void ORVA_AGENT_ChgAddrRegMsgToHostPath() {}

void ORVA_AGENT_ChgAddrAckMsgToNetPath() {}

void ORVA_AGENT_ChgTempInfoMsgToHostPath() {}

void ORVA_AGENT_ChgTempInfoMsgToNetPath() {}

void ORVA_AGENT_ChgSubCardInfoMsgToNetPath() {}

void ORVA_AGENT_ChgHeartBeatMsgToHostPath() {}

void ORVA_AGENT_ChgHeartBeatMsgToNetPath() {}

void ORVA_AGENT_ChgPowerStateMsgToNetPath() {}
