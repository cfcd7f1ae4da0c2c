import java.io.File;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.List;
import no.ntnu.ihb.fmi4j.importer.fmi2.CoSimulationSlave;
import no.ntnu.ihb.fmi4j.importer.fmi2.Fmu;

/** Runs the packed motor in FMI4j, a Java importer, and compares with `zelvox simulate`. */
public class Fmi4jRun {
    public static void main(String[] arguments) throws Exception {
        List<String> reference = Files.readAllLines(Paths.get(arguments[1]));
        try (Fmu fmu = Fmu.from(new File(arguments[0]));
                CoSimulationSlave motor = fmu.asCoSimulationFmu().newInstance("motor")) {
            check(motor.setupExperiment(0, 0.5, 0) && motor.enterInitializationMode());
            motor.writeReal(new long[] {4, 5}, new double[] {12, 0.01});
            check(motor.exitInitializationMode());
            double[] outputs = new double[2];
            double worst = 0;
            for (int step = 0; step <= 500; step++) {
                motor.readReal(new long[] {0, 1}, outputs);
                String[] row = reference.get(step + 1).split(",");
                for (int i = 0; i < 2; i++) {
                    worst = Math.max(worst, Math.abs(outputs[i] - Double.parseDouble(row[i + 1])));
                }
                check(step == 500 || motor.doStep(step * 1e-3, 1e-3));
            }
            check(motor.terminate());
            System.out.println("largest difference " + worst);
            check(worst <= 1e-9);
        }
    }

    private static void check(boolean fine) {
        if (!fine) {
            throw new AssertionError("see the messages above");
        }
    }
}
