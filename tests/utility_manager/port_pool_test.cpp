#include "tests/utility_manager/manager_fixture.h"

using namespace utility_manager;

namespace {

using Numbers = std::vector<std::int64_t>;

class Ports : public FakeProcessTest {
 protected:
  std::optional<std::int64_t> available() {
    system.asked_ports.clear();
    const LockHeld held(manager->lock);
    return manager->_get_available_port();
  }
};

}  // namespace

TEST_F(Ports, TheLowestThatIsNeitherReservedNorTaken) {
  EXPECT_EQ(available(), 8890);
  EXPECT_EQ(system.asked_ports, Numbers({8890}));
  adopt("a", first_pid, 8890);
  adopt("b", first_pid, 8892);
  system.taken_ports = {8891};
  EXPECT_EQ(available(), 8893);
  EXPECT_EQ(system.asked_ports, Numbers({8891, 8893}));
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({8890, 8892}));
}

TEST_F(Ports, NoneIsLeft) {
  const auto pool = PortPool::all();
  EXPECT_EQ(pool.size(), 1110u);
  EXPECT_EQ(*pool.begin(), 8890);
  system.taken_ports = pool;
  EXPECT_EQ(available(), std::nullopt);
  EXPECT_EQ(system.asked_ports, Numbers(pool.begin(), pool.end()));
  system.taken_ports.clear();
  processes.living[first_pid] = 0;
  for (const auto port : pool) {
    write_state(std::to_string(port), {{"pid", first_pid}, {"port", port}});
  }
  manager->_load_persisted_states();
  EXPECT_EQ(available(), std::nullopt);
  EXPECT_EQ(system.asked_ports, Numbers());
}
