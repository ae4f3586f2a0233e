#include "foundation/AVStreamInfo.h"

AVStreamInfo::AVStreamInfo(AVData const* frame) {
    if (frame == nullptr) return;
    m_StreamFormat = frame->getStreamFormat();
    m_ESStreamType = frame->getESStreamType();
    m_EncoderType = frame->getEncoderType();
    m_FrameType = frame->getFrameType();
    m_SequenceId = frame->getSequenceId();
    m_TimeStamp = frame->getTimeStamp();
    m_DataLength = frame->getDataLength();
    m_BitRate = frame->getBitRate();
    m_ImageWidth = frame->getImageWidth();
    m_ImageHeight = frame->getImageHeight();
    m_FrameRate = frame->getFrameRate();
    m_TimeZone = frame->getTimeZone();
    m_DaylightSavingTime = frame->getDaylightSavingTime();
}

AVStreamInfo::AVStreamInfo(TSAVData const* block) {
    if (block == nullptr) return;
    m_StreamFormat = block->getStreamFormat();
    m_ESStreamType = block->getESStreamType();
    m_EncoderType = block->getEncoderType();
    m_FrameType = block->getFrameType();
    m_TimeStamp = block->getTimeStamp();
    m_DataLength = block->getDataLength();
    m_ImageWidth = block->getImageWidth();
    m_ImageHeight = block->getImageHeight();
    m_TimeZone = block->getTimeZone();
    m_DaylightSavingTime = block->getDaylightSavingTime();
}
