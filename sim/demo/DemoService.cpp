#include <pemo/ServiceCore.h>
#include <pemo/ServiceRecord.h>

#include <Poco/ClassLibrary.h>
#include <Poco/Exception.h>

namespace pemo {
namespace demo {

/// A minimal platform service: registered under "demo.name" for as long as
/// it runs, so that it is told of every session change, which it logs.
class DemoService : public ServiceCore
{
public:
    DemoService() : ServiceCore("DemoService")
    {
    }

    void onCreateSession(std::shared_ptr<Session> session) override
    {
        logger().information(_record.name + " told of new session " + session->token);
    }

    void onSelectSession(std::shared_ptr<Session> session) override
    {
        logger().information(_record.name + " told of current session " + session->token);
    }

    void onDeleteSession(std::shared_ptr<Session> session) override
    {
        logger().information(_record.name + " told of deleted session " + session->token);
    }

protected:
    void onInitialize(Poco::Util::Application& app) override
    {
        ServiceCore::onInitialize(app);
        _record.name = app.config().getString("demo.name", "demo-service");
        _record.host = "127.0.0.1";
        _record.port = port();
        _record.path = "/";
    }

    // A registry that is not up yet only costs the announcements until the
    // next start; the service itself keeps running.
    void onStart() override
    {
        ServiceCore::onStart();
        try
        {
            registryClient().registerService(_record);
        }
        catch (const Poco::Exception& e)
        {
            logger().error(_record.name + " cannot register with the registry: " + e.displayText() +
                           "; running unregistered");
        }
    }

    void onStop() override
    {
        try
        {
            registryClient().deleteService(_record.name);
        }
        catch (const Poco::Exception& e)
        {
            logger().warning(_record.name + " cannot deregister: " + e.displayText());
        }
        ServiceCore::onStop();
    }

private:
    ServiceRecord _record;
};

} // namespace demo
} // namespace pemo

POCO_BEGIN_MANIFEST(pemo::ServiceCore)
POCO_EXPORT_INTERFACE(pemo::demo::DemoService, "DemoService")
POCO_END_MANIFEST
