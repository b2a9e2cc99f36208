#include <gtest/gtest.h>

#include "support/sensornet_cases.h"

namespace {

using testing_support::check_store_cases;
using testing_support::StoreCase;

TEST(SensorMessages, PowerIsOnOnlyForAWordBeginningWithOn) {
  const StoreCase cases[] = {
      {"on", {"[SUCCESS]Set Sensor1 Power To ON"}, {}, "", {"sensor1power=1"}, {{"sensor1power", "1"}}},
      {"off replaces the old line",
       {"[SUCCESS]Set Sensor2 Power To OFF"}, {{"sensor2power", "1"}}, "sensor2power=1\nother=x\n",
       {"other=x", "sensor2power=0"}, {{"sensor2power", "0"}}},
      {"first two characters only", {"[SUCCESS]Set Sensor1 Power To ONLINE"}, {}, "",
       {"sensor1power=1"}, {{"sensor1power", "1"}}},
      {"case matters", {"[SUCCESS]Set Sensor1 Power To On"}, {}, "", {"sensor1power=0"}, {{"sensor1power", "0"}}},
      {"empty word", {"[SUCCESS]Set Sensor2 Power To "}, {}, "", {"sensor2power=0"}, {{"sensor2power", "0"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, ProtocolSetsTheCodeOnAKnownNameAndRewritesTheLineAnyway) {
  const StoreCase cases[] = {
      {"modbus", {"[SUCCESS]Set Sensor1 Protocols To Modbus-RTU-RS485"}, {}, "",
       {"sensorpro1=3"}, {{"sensorpro1", "3"}}},
      {"1-wire", {"[SUCCESS]Set Sensor1 Protocols To 1-wire"}, {{"sensorpro1", "3"}}, "",
       {"sensorpro1=1"}, {{"sensorpro1", "1"}}},
      {"i2c", {"[SUCCESS]Set Sensor2 Protocols To I2C"}, {}, "", {"sensorpro2=2"}, {{"sensorpro2", "2"}}},
      {"door", {"[SUCCESS]Set Sensor2 Protocols To Door"}, {}, "", {"sensorpro2=4"}, {{"sensorpro2", "4"}}},
      {"relay", {"[SUCCESS]Set Sensor2 Protocols To Relay"}, {{"sensorpro2", "1"}}, "",
       {"sensorpro2=5"}, {{"sensorpro2", "5"}}},
      {"only the first character changes", {"[SUCCESS]Set Sensor1 Protocols To Door"}, {{"sensorpro1", "2x"}},
       "", {"sensorpro1=4x"}, {{"sensorpro1", "4x"}}},
      {"unknown name rewrites a stale line with the stored code",
       {"[SUCCESS]Set Sensor2 Protocols To USB"}, {{"sensorpro2", "2"}}, "sensorpro2=9\n",
       {"sensorpro2=2"}, {{"sensorpro2", "2"}}},
      {"unknown name with nothing stored writes the default to the file only",
       {"[SUCCESS]Set Sensor1 Protocols To i2c"}, {}, "", {"sensorpro1=1"}, {}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, TypeNamesAreComparedInTableOrder) {
  const StoreCase cases[] = {
      {"temperature and humidity before temperature",
       {"[SUCCESS]Set Sensor1 Type To Temperature And Humidity"}, {}, "", {"sensortype1=3"},
       {{"sensortype1", "3"}}},
      {"temperature", {"[SUCCESS]Set Sensor1 Type To Temperature"}, {{"sensortype1", "3"}}, "",
       {"sensortype1=1"}, {{"sensortype1", "1"}}},
      {"humidity", {"[SUCCESS]Set Sensor2 Type To Humidity"}, {}, "", {"sensortype2=2"}, {{"sensortype2", "2"}}},
      {"air pressure", {"[SUCCESS]Set Sensor2 Type To Air Pressure"}, {}, "", {"sensortype2=4"},
       {{"sensortype2", "4"}}},
      {"other data", {"[SUCCESS]Set Sensor1 Type To Other Data"}, {}, "", {"sensortype1=5"},
       {{"sensortype1", "5"}}},
      {"normally open", {"[SUCCESS]Set Sensor1 Type To Normally Open"}, {{"sensortype1", "4"}}, "",
       {"sensortype1=1"}, {{"sensortype1", "1"}}},
      {"normally close", {"[SUCCESS]Set Sensor2 Type To Normally Close"}, {}, "", {"sensortype2=2"},
       {{"sensortype2", "2"}}},
      {"unknown name keeps the stored code", {"[SUCCESS]Set Sensor2 Type To Pressure"},
       {{"sensortype2", "4"}}, "sensortype2=1\n", {"sensortype2=4"}, {{"sensortype2", "4"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, AddressingGoesToItsOwnStore) {
  const StoreCase cases[] = {
      {"data address 1", {"[SUCCESS]Set Sensor1 Data Address To 40001"}, {}, "sensoraddress1=1\n",
       {"sensoraddress1=40001"}, {{"sensoraddress1", "40001"}}},
      {"data address 2", {"[SUCCESS]Set Sensor2 Data Address To 0x10"}, {}, "", {"sensoraddress2=0x10"},
       {{"sensoraddress2", "0x10"}}},
      {"slave station 1: both stores", {"[SUCCESS]Set Sensor1 Slave Station Address To 7"}, {}, "",
       {"sensorSlaveStation1=7"}, {{"sensorSlaveStation1", "7"}}},
      {"slave station 2: both stores", {"[SUCCESS]Set Sensor2 Slave Station Address To 12"}, {}, "",
       {"sensorSlaveStation2=12"}, {{"sensorSlaveStation2", "12"}}},
      {"slave ID 1: nvram only", {"[SUCCESS]Set Sensor1 Slave ID Address To 7"}, {}, "sensorSlaveStation1=3\n",
       {"sensorSlaveStation1=3"}, {{"sensorSlaveStation1", "7"}}},
      {"slave ID 2: nvram only", {"[SUCCESS]Set Sensor2 Slave ID Address To 9"}, {}, "", {},
       {{"sensorSlaveStation2", "9"}}},
      {"function code 1: nvram only", {"[SUCCESS]Set Sensor1 Function Code To 03"}, {}, "", {},
       {{"sensorFunctionCode1", "03"}}},
      {"function code 2: nvram only", {"[SUCCESS]Set Sensor2 Function Code To 04"}, {}, "", {},
       {{"sensorFunctionCode2", "04"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, LimitsAndTheSensor2MinimumThatNeverDropsItsOldLines) {
  const StoreCase cases[] = {
      {"max 1", {"[SUCCESS]Set Sensor1 Max Value To 80"}, {}, "sensor1maxvalue=50\n", {"sensor1maxvalue=80"},
       {{"sensor1maxvalue", "80"}}},
      {"max 2", {"[SUCCESS]Set Sensor2 Max Value To -5.5"}, {}, "sensor2maxvalue=50\n",
       {"sensor2maxvalue=-5.5"}, {{"sensor2maxvalue", "-5.5"}}},
      {"min 1", {"[SUCCESS]Set Sensor1 Min Value To 10"}, {}, "sensor1minvalue=0\n", {"sensor1minvalue=10"},
       {{"sensor1minvalue", "10"}}},
      {"min 2 keeps the old line", {"[SUCCESS]Set Sensor2 Min Value To 5"}, {}, "sensor2minvalue=1\n",
       {"sensor2minvalue=1", "sensor2minvalue=5"}, {{"sensor2minvalue", "5"}}},
      {"two min 2 confirmations leave two lines",
       {"[SUCCESS]Set Sensor2 Min Value To 5", "[SUCCESS]Set Sensor2 Min Value To 5"}, {}, "",
       {"sensor2minvalue=5", "sensor2minvalue=5"}, {{"sensor2minvalue", "5"}}},
      {"min 2 drops lines holding the misspelt key", {"[SUCCESS]Set Sensor2 Min Value To 7"}, {},
       "sensorm2invalue=3\nsensor2maxvalue=9\n", {"sensor2maxvalue=9", "sensor2minvalue=7"},
       {{"sensor2minvalue", "7"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, UnitTakesOneTwoOrThreeAndRewritesTheLineAnyway) {
  const StoreCase cases[] = {
      {"two", {"[SUCCESS]Set Sensor1 Unit To 2"}, {}, "", {"sensor1unit=2"}, {{"sensor1unit", "2"}}},
      {"three over one", {"[SUCCESS]Set Sensor2 Unit To 3"}, {{"sensor2unit", "1"}}, "sensor2unit=1\n",
       {"sensor2unit=3"}, {{"sensor2unit", "3"}}},
      {"first character only", {"[SUCCESS]Set Sensor1 Unit To 1 (C)"}, {}, "", {"sensor1unit=1"},
       {{"sensor1unit", "1"}}},
      {"unknown keeps the stored unit", {"[SUCCESS]Set Sensor1 Unit To 4"}, {{"sensor1unit", "2"}}, "",
       {"sensor1unit=2"}, {{"sensor1unit", "2"}}},
      {"unknown with nothing stored writes an empty value to the file only",
       {"[SUCCESS]Set Sensor2 Unit To F"}, {}, "", {"sensor2unit="}, {}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, BeeperFileLineCarriesSensor1Flags) {
  const StoreCase cases[] = {
      {"sensor 1 on", {"[SUCCESS]Set Sensor1 Beeper ON"}, {}, "", {"sensor1check=0001"},
       {{"sensor1check", "0001"}}},
      {"sensor 1 off", {"[SUCCESS]Set Sensor1 Beeper OFF"}, {{"sensor1check", "1111"}}, "sensor1check=1111\n",
       {"sensor1check=1110"}, {{"sensor1check", "1110"}}},
      {"sensor 1 unknown word still sets nvram", {"[SUCCESS]Set Sensor1 Beeper MUTE"}, {}, "",
       {"sensor1check=0000"}, {{"sensor1check", "0000"}}},
      {"sensor 1 short flags are padded to four", {"[SUCCESS]Set Sensor1 Beeper ON"}, {{"sensor1check", "01"}},
       "", {"sensor1check=0101"}, {{"sensor1check", "0101"}}},
      {"sensor 2 on", {"[SUCCESS]Set Sensor2 Beeper ON"}, {{"sensor1check", "0000"}}, "",
       {"sensor2check=0000"}, {{"sensor1check", "0000"}, {"sensor2check", "0001"}}},
      {"sensor 2 off", {"[SUCCESS]Set Sensor2 Beeper OFF"}, {{"sensor1check", "1011"}, {"sensor2check", "1111"}},
       "sensor2check=1111\n", {"sensor2check=1011"}, {{"sensor1check", "1011"}, {"sensor2check", "1110"}}},
      {"sensor 2 unknown word leaves nvram alone", {"[SUCCESS]Set Sensor2 Beeper MUTE"},
       {{"sensor2check", "0101"}}, "", {"sensor2check=0000"}, {{"sensor2check", "0101"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, GuiReadingTextsGoToNvramOnly) {
  const StoreCase cases[] = {
      {"contact 0 is on", {"[SUCCESS]GUI Get Sensor1 Current Value 0"}, {}, "", {}, {{"sensor1current", "ON"}}},
      {"contact 1 is off", {"[SUCCESS]GUI Get Sensor1 Current Value 1"}, {}, "", {}, {{"sensor1current", "OFF"}}},
      {"any 1 is off", {"[SUCCESS]GUI Get Sensor2 Current Value 01"}, {}, "", {}, {{"sensor2current", "OFF"}}},
      {"empty is on", {"[SUCCESS]GUI Get Sensor2 Current Value "}, {}, "", {}, {{"sensor2current", "ON"}}},
      {"temperature 1", {"[SUCCESS]GUI Get Sensor1 Current Temperature Value 23.5 C"}, {}, "", {},
       {{"sensor1current", "23.5 C"}}},
      {"humidity 1", {"[SUCCESS]GUI Get Sensor1 Current Humidity Value 41%"}, {}, "", {},
       {{"sensor1current", "41%"}}},
      {"air pressure 1", {"[SUCCESS]GUI Get Sensor1 Current Air Pressure Value 1013 hPa"}, {}, "", {},
       {{"sensor1current", "1013 hPa"}}},
      {"temperature 2", {"[SUCCESS]GUI Get Sensor2 Current Temperature Value -3.0 C"}, {}, "", {},
       {{"sensor2current", "-3.0 C"}}},
      {"humidity 2", {"[SUCCESS]GUI Get Sensor2 Current Humidity Value 55%"}, {}, "", {},
       {{"sensor2current", "55%"}}},
      {"air pressure 2", {"[SUCCESS]GUI Get Sensor2 Current Air Pressure Value 990 hPa"}, {}, "", {},
       {{"sensor2current", "990 hPa"}}},
      {"mode unknown 1", {"[SUCCESS]GUI Get Sensor1 Mode Unknown"}, {}, "", {}, {{"sensor1current", "Unknown"}}},
      {"mode unknown 2 keeps what follows", {"[SUCCESS]GUI Get Sensor2 Mode Unknown device"}, {}, "", {},
       {{"sensor2current", "Unknown device"}}},
      {"unit wrong 1", {"[FAIL]Sensor1 Unit Wrong"}, {}, "", {}, {{"sensor1current", " Unit Wrong"}}},
      {"unit wrong 2", {"[FAIL]Sensor2 Unit Wrong"}, {}, "", {}, {{"sensor2current", " Unit Wrong"}}},
      {"gui unit wrong 1", {"[FAIL]GUI Sensor1 Unit Wrong"}, {}, "", {}, {{"sensor1current", " Unit Wrong"}}},
      {"gui unit wrong 2", {"[FAIL]GUI Sensor2 Unit Wrong"}, {}, "", {}, {{"sensor2current", " Unit Wrong"}}},
      {"powered off 1", {"[FAIL]GUI Sensor1 Power Is OFF"}, {}, "", {}, {{"sensor1current", "Sensor OFF"}}},
      {"powered off 2", {"[FAIL]GUI Sensor2 Power Is Off"}, {}, "", {}, {{"sensor2current", "Sensor OFF"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, MessageWithTwoPrefixesIsTakenByTheEarlierRecogniser) {
  const StoreCase cases[] = {
      {"sensor 1 power before sensor 2 power",
       {"[SUCCESS]Set Sensor2 Power To ON [SUCCESS]Set Sensor1 Power To OFF"}, {}, "", {"sensor1power=0"},
       {{"sensor1power", "0"}}},
      {"block A before block B",
       {"[SUCCESS]Set Sensor1 Max Value To 9 [SUCCESS]Set Sensor2 Slave Station Address To 3"}, {}, "",
       {"sensorSlaveStation2=3"}, {{"sensorSlaveStation2", "3"}}},
      {"protocol before beeper", {"[SUCCESS]Set Sensor2 Beeper ON [SUCCESS]Set Sensor1 Protocols To I2C"}, {},
       "", {"sensorpro1=2"}, {{"sensorpro1", "2"}}},
      {"slave ID before slave station",
       {"[SUCCESS]Set Sensor1 Slave Station Address To 4 [SUCCESS]Set Sensor1 Slave ID Address To 5"}, {}, "",
       {}, {{"sensorSlaveStation1", "5"}}},
      {"power-off failure before the sensor 2 reading",
       {"[SUCCESS]GUI Get Sensor2 Current Value 1 [FAIL]GUI Sensor1 Power Is OFF"}, {}, "", {},
       {{"sensor1current", "Sensor OFF"}}},
      {"sensor unit before a later per-outlet setting",
       {"[SUCCESS]Set Outlet 2 Power_ON Delay 5 [SUCCESS]Set Sensor1 Unit To 2"}, {}, "", {"sensor1unit=2"},
       {{"sensor1unit", "2"}}},
      {"the telnet tag is cut before the value is read",
       {"[SUCCESS]Set Sensor1 Data Address To 17  telnet23"}, {}, "", {"sensoraddress1=17"},
       {{"sensoraddress1", "17"}}},
  };
  check_store_cases(cases);
}

TEST(SensorMessages, EveryModelStoresTheSame) {
  for (const char* model : {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC", ""}) {
    const StoreCase c{"model", {"[SUCCESS]Set Sensor2 Max Value To 30"}, {}, "", {"sensor2maxvalue=30"},
                      {{"sensor2maxvalue", "30"}}, {}, model};
    SCOPED_TRACE(model);
    testing_support::check_store_case(c);
  }
}

}  // namespace
