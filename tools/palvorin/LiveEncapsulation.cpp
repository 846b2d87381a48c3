// The GSMTAP encapsulation of live capture: the signalling message of each packet, extracted by the
// library (ota/OTAExtractor.h), as the GSMTAP version 2 packet the pcap export also writes (Export.h). A UDP
// datagram has no other way out for a message that version 2 cannot carry with its channel number (LTE RRC
// on an EARFCN above 16383, for which the export names the dissector instead), so such a message goes with
// the ARFCN field left 0; messages without a GSMTAP type (NR) are not sent.

#include <memory>

#include "ota/OTAExtractor.h"
#include "tools/palvorin/Export.h"
#include "tools/palvorin/GSMTAPSender.h"

GSMTAPEncapsulation LiveGSMTAPEncapsulation() {
    // One extractor per stream: it holds the pieces of segmented messages between packets.
    std::shared_ptr<cOTAExtractor> extractor = std::make_shared<cOTAExtractor>();
    return [extractor](const unsigned char* packet, size_t size, GSMTAPDatagrams& datagrams) {
        sOTAMessage message;
        if (extractor->Extract(packet, size, message) != OTA_EXTRACT_MESSAGE) {
            return;
        }
        std::vector<unsigned char> datagram;
        if (!BuildGSMTAPPacket(message, datagram) && (message.mContext & OTA_HAS_CHANNEL_NUMBER) != 0) {
            message.mContext &= static_cast<uint8_t>(~OTA_HAS_CHANNEL_NUMBER);
            message.mChannelNumber = 0;
            BuildGSMTAPPacket(message, datagram);
        }
        if (!datagram.empty()) {
            datagrams.push_back(std::move(datagram));
        }
    };
}
