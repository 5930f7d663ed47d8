"""What the tests of the window stand on: a desktop, a sample home and the window seen from outside."""
