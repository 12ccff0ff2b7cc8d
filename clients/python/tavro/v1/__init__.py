"""The wire: modules that the build generates from robot.proto."""
