#include "TopFileUploadXpcService/ServiceDelegate.h"

#include "TopFileUploadXpcService/ServiceNames.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <memory>

namespace Quenmark {

bool ServiceDelegate::listenerShouldAcceptNewConnection(
    Platform::Ipc::Listener&, const std::shared_ptr<Platform::Ipc::Connection>& newConnection) {
    newConnection->setExportedInterface(ServiceNames::exportedInterface);
    auto observer = makeObserver_ ? makeObserver_(newConnection->peer()) : nullptr;
    auto engine = engine_ ? engine_ : std::make_shared<TopFileUploadXpcService>(context_, nullptr, std::move(observer));
    newConnection->setExportedObject(
        {{"GetTopFileUpload", [engine = std::move(engine)] { engine->GetTopFileUpload(); }}});
    newConnection->resume();
    return true;
}

} // namespace Quenmark
