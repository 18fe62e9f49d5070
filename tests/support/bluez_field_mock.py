'''BlueZ as a kiosk meets it in the field: python-dbusmock's bluez5 template
plus what that template leaves out. Loaded with `--template <this file>`.

- Kernel discovery keeps the controller's duplicate filter on and scans in
  windows of about 10 s, so a device is passed on once per window: the first
  time it is heard after the window opened. StartDiscovery opens a window.
  Parameter "window" in seconds; 0 (the default) passes on every report.
- Parameter "speed" runs the mock's clock that many times faster than the
  wall clock, so that a long crowd plays in a short test.
- Powering an adapter off ends its discovery (Discovering false).
- StartDiscovery works without SetDiscoveryFilter, as in bluetoothd.
- Parameter "monitor": true gives adapters an AdvertisementMonitorManager1
  that takes or-pattern monitors (RegisterMonitor shows in the adapter's calls).

Mock methods on /, interface org.bluez.Mock:
- Advertise(adapter, address, frame, rssi): one Eddystone advertisement.
- PlayCrowd(beacons): a(sdddaayn) of address, arrival, departure (seconds
  from now on the mock's clock), advertising interval, the frames it rotates
  through, and RSSI. The reserved last two bytes of each UID frame it sends
  carry when it was sent, in tenths of a second since PlayCrowd, so that a
  busy machine's delays do not count as the beacon's.
- FailNext(adapter, method, count, error): the next `count` calls of
  SetDiscoveryFilter or StartDiscovery fail with org.bluez.Error.<error>.
- EndDiscovery(adapter): discovery stops on its own, as when the kernel or
  another program ends it.
- SetPowered(adapter, on).
'''

# pylint: disable=wildcard-import,unused-wildcard-import,invalid-name
import math
import time

import dbus
from gi.repository import GLib

import dbusmock.templates.bluez5 as bluez5
from dbusmock import mockobject
from dbusmock.templates.bluez5 import *  # noqa: F401,F403

EDDYSTONE = '0000feaa-0000-1000-8000-00805f9b34fb'

CLOCK = {'start': time.monotonic(), 'speed': 1.0, 'window': 0.0, 'monitor': False}
MONITOR_MANAGER_IFACE = 'org.bluez.AdvertisementMonitorManager1'
CROWD = []
FAULTS = {}     # (adapter path, method): [count, error name]
DISCOVERY = {}  # adapter path: {'since': window start, 'heard': set of addresses}


def now():
    return (time.monotonic() - CLOCK['start']) * CLOCK['speed']


def adapter_path(name):
    return '/org/bluez/' + name


def set_adapter_props(adapter, changes):
    adapter.props[bluez5.ADAPTER_IFACE].update(changes)
    adapter.EmitSignal(dbus.PROPERTIES_IFACE, 'PropertiesChanged', 'sa{sv}as',
                       [bluez5.ADAPTER_IFACE, changes, []])


def maybe_fail(adapter, method):
    fault = FAULTS.get((adapter.path, method))
    if fault and fault[0] > 0:
        fault[0] -= 1
        raise dbus.exceptions.DBusException('Mock failure', name='org.bluez.Error.' + fault[1])


@dbus.service.method(bluez5.ADAPTER_IFACE, in_signature='', out_signature='')
def StartDiscovery(adapter):
    maybe_fail(adapter, 'StartDiscovery')
    DISCOVERY[adapter.path] = {'since': now(), 'heard': set()}
    set_adapter_props(adapter, {'Discovering': dbus.Boolean(True, variant_level=1)})


@dbus.service.method(bluez5.ADAPTER_IFACE, in_signature='', out_signature='')
def StopDiscovery(adapter):
    DISCOVERY.pop(adapter.path, None)
    set_adapter_props(adapter, {'Discovering': dbus.Boolean(False, variant_level=1)})


@dbus.service.method(bluez5.ADAPTER_IFACE, in_signature='a{sv}', out_signature='')
def SetDiscoveryFilter(adapter, discovery_filter):
    maybe_fail(adapter, 'SetDiscoveryFilter')
    adapter.props[bluez5.ADAPTER_IFACE]['DiscoveryFilter'] = discovery_filter


# AddAdapter looks these up in bluez5's namespace when it builds an adapter.
bluez5.StartDiscovery = StartDiscovery
bluez5.StopDiscovery = StopDiscovery
bluez5.SetDiscoveryFilter = SetDiscoveryFilter


def load(mock, parameters):
    bluez5.load(mock, parameters)
    CLOCK['speed'] = float(parameters.get('speed', 1.0))
    CLOCK['window'] = float(parameters.get('window', 0.0))
    CLOCK['monitor'] = bool(parameters.get('monitor', False))
    GLib.timeout_add(10, play_crowd)


def passes_duplicate_filter(path, address, at):
    '''True when the kernel would pass on this report of `address` heard `at`.'''
    discovery = DISCOVERY.get(path)
    if discovery is None:
        return False
    window = CLOCK['window']
    if window <= 0:
        return True
    if at - discovery['since'] >= window:
        discovery['since'] += math.floor((at - discovery['since']) / window) * window
        discovery['heard'] = set()
    if address in discovery['heard']:
        return False
    discovery['heard'].add(address)
    return True


def emit(adapter_name, address, frame, rssi):
    main = mockobject.objects['/']
    device = adapter_path(adapter_name) + '/dev_' + address.replace(':', '_')
    if device not in mockobject.objects:
        main.AddDevice(adapter_name, address, 'beacon')
    mockobject.objects[device].EmitSignal(
        dbus.PROPERTIES_IFACE, 'PropertiesChanged', 'sa{sv}as', [
            bluez5.DEVICE_IFACE, {
                'ServiceData': dbus.Dictionary(
                    {EDDYSTONE: dbus.Array(frame, signature='y', variant_level=1)},
                    signature='sv', variant_level=1),
                'RSSI': dbus.Int16(rssi, variant_level=1),
            }, []])


@dbus.service.method(bluez5.BLUEZ_MOCK_IFACE, in_signature='ss', out_signature='s')
def AddAdapter(self, device_name, system_name):
    path = bluez5.AddAdapter(self, device_name, system_name)
    if CLOCK['monitor']:
        properties = {
            'SupportedMonitorTypes': dbus.Array(['or_patterns'], signature='s', variant_level=1),
            'SupportedFeatures': dbus.Array([], signature='s', variant_level=1),
        }
        adapter = mockobject.objects[path]
        adapter.AddProperties(MONITOR_MANAGER_IFACE, properties)
        adapter.AddMethods(MONITOR_MANAGER_IFACE, [
            ('RegisterMonitor', 'o', '', ''),
            ('UnregisterMonitor', 'o', '', ''),
        ])
        mockobject.objects['/'].EmitSignal(bluez5.OBJECT_MANAGER_IFACE, 'InterfacesAdded',
                                           'oa{sa{sv}}', [dbus.ObjectPath(path),
                                                          {MONITOR_MANAGER_IFACE: properties}])
    return path


@dbus.service.method(bluez5.BLUEZ_MOCK_IFACE, in_signature='ssayn', out_signature='b')
def Advertise(_self, adapter_name, address, frame, rssi):
    if not passes_duplicate_filter(adapter_path(adapter_name), address, now()):
        return False
    emit(adapter_name, address, frame, rssi)
    return True


@dbus.service.method(bluez5.BLUEZ_MOCK_IFACE, in_signature='a(sdddaayn)', out_signature='')
def PlayCrowd(_self, beacons):
    start = now()
    CLOCK['crowd'] = start
    for address, arrival, departure, interval, frames, rssi in beacons:
        CROWD.append({'address': str(address), 'arrival': start + arrival,
                      'departure': start + departure, 'interval': float(interval),
                      'frames': [bytes(frame) for frame in frames], 'rssi': int(rssi),
                      'next': start + arrival})


def play_crowd():
    '''Plays every advertisement of the crowd that is due, on hci0.'''
    at = now()
    for beacon in CROWD:
        while beacon['next'] <= at and beacon['next'] < beacon['departure']:
            heard = beacon['next']
            index = round((heard - beacon['arrival']) / beacon['interval'])
            beacon['next'] += beacon['interval']
            if passes_duplicate_filter(adapter_path('hci0'), beacon['address'], heard):
                frame = list(beacon['frames'][index % len(beacon['frames'])])
                if len(frame) == 20 and frame[0] == 0x00:
                    stamp = int((heard - CLOCK['crowd']) * 10) & 0xffff
                    frame[18:20] = [stamp >> 8, stamp & 0xff]
                emit('hci0', beacon['address'], frame, beacon['rssi'])
    return True


@dbus.service.method(bluez5.BLUEZ_MOCK_IFACE, in_signature='ssus', out_signature='')
def FailNext(_self, adapter_name, method, count, error):
    FAULTS[(adapter_path(adapter_name), str(method))] = [int(count), str(error)]


@dbus.service.method(bluez5.BLUEZ_MOCK_IFACE, in_signature='s', out_signature='')
def EndDiscovery(_self, adapter_name):
    adapter = mockobject.objects[adapter_path(adapter_name)]
    DISCOVERY.pop(adapter.path, None)
    set_adapter_props(adapter, {'Discovering': dbus.Boolean(False, variant_level=1)})


@dbus.service.method(bluez5.BLUEZ_MOCK_IFACE, in_signature='sb', out_signature='')
def SetPowered(_self, adapter_name, powered):
    adapter = mockobject.objects[adapter_path(adapter_name)]
    changes = {'Powered': dbus.Boolean(powered, variant_level=1)}
    if not powered:
        DISCOVERY.pop(adapter.path, None)
        changes['Discovering'] = dbus.Boolean(False, variant_level=1)
    set_adapter_props(adapter, changes)
